"""Gateways whose surroundings fail; the device tests' sandbox underneath."""
import pathlib
import shutil
import signal
import sys

import pytest

HERE = pathlib.Path(__file__).parent
sys.path[:0] = [str(HERE), str(HERE.parent / "device")]

import sandbox                                                      # noqa: E402
from fixtures import (_template, _world, pytest_assertrepr_compare, pytest_runtest_makereport)  # noqa: E402, F401
from broken import BrokenGateway, Roots                             # noqa: E402
from figures import Figures                                         # noqa: E402

# Who runs the tests under nohup leaves the hangup ignored, and a program that is to die of it would live on.
signal.signal(signal.SIGHUP, signal.SIG_DFL)


@pytest.fixture(scope="session")
def _roots(_template, tmp_path_factory):                            # noqa: F811
    """The roots of this session; see `Roots`."""
    plain = tmp_path_factory.mktemp("root")
    _template.build(plain)
    with _template.locked():
        starter = _template.compile("faulty", HERE / "faulty.c")
        refuse = _template.compile("refuse.so", HERE.parent / "preload/refuse.c", "-shared", "-fPIC", "-ldl")
    for tool in (starter, refuse):
        shutil.copy(tool, plain / "tools" / tool.name)
    return Roots(plain, tmp_path_factory, sandbox)


@pytest.fixture
def new_gateway(_world, _template, _roots, tmp_path, request):      # noqa: F811
    """Makes a gateway with a /tmp, a store and addresses of its own. Only the one that ran last still finds its
    addresses on the links."""
    count = iter(range(1_000_000))

    def make():
        base = tmp_path / str(next(count))
        made = BrokenGateway(_world, _template, _roots, base)
        request.node.gateway = made
        return made
    return make


@pytest.fixture
def gateway(new_gateway):
    return new_gateway()


@pytest.fixture(scope="session")
def figures():
    return Figures()
