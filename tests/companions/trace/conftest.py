import pytest
from trace_logs import Tool


@pytest.fixture
def tool(tmp_path):
    return Tool(tmp_path)
