"""The device tests' gateway, with what a shell script needs besides: awk and /sys."""
import pathlib
import sys

import pytest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "tests/device")]

from place import add_what_scripts_need                                         # noqa: E402
from fixtures import (_template, _world, gateway, pytest_assertrepr_compare,    # noqa: E402, F401
                      pytest_runtest_makereport)


@pytest.fixture(scope="session")
def _root(_template, tmp_path_factory):                                         # noqa: F811
    root = tmp_path_factory.mktemp("root")
    _template.build(root)
    add_what_scripts_need(root)
    return root
