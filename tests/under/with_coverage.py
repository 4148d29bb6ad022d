"""pytest -p with_coverage tests/device: mounts the build folder with its counters into each test's private root.

IPV6CTL_COVERAGE names the folder; the program in it is built by tools/coverage.
"""
import os

import pytest


@pytest.fixture(autouse=True)
def _counters_reach_the_build_folder(request):
    if "gateway" in request.fixturenames:
        request.getfixturevalue("gateway").mounts += ["--bind", os.environ["IPV6CTL_COVERAGE"], "/gw/.coverage"]
