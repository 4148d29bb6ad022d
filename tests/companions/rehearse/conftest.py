"""What the tests of ipv6rehearse have at hand."""
import pytest

from rehearse_tool import BUILD, NEEDED, RehearseTool


@pytest.fixture
def tool(tmp_path):
    for name in NEEDED:
        if not (BUILD / name).exists():
            pytest.exit(f"{BUILD / name} is missing: build first, or set IPV6CTL_BUILD", returncode=3)
    return RehearseTool(tmp_path)
