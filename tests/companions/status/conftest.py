"""What the tests of ipv6status have at hand."""

import pytest

from status_gateway import StatusGateway


@pytest.fixture
def gw(tmp_path):
    return StatusGateway(tmp_path)
