"""What the tests of the settings table have at hand."""

import pytest

from settings_tool import Tool


@pytest.fixture
def tool(tmp_path):
    return Tool(tmp_path)
