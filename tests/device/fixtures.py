"""The `gateway` fixture and readable failures, for this folder's conftest.py and its neighbors'."""
import pytest

from gateway import Gateway
from sandbox import Template, World, program_path, store_tool_path
from transcript import Lines, difference


@pytest.fixture(scope="session")
def _template():
    for needed in (program_path(), store_tool_path()):
        if not needed.exists():
            pytest.exit(f"{needed} is missing: build first, or set IPV6CTL and CCFG_CLI", returncode=3)
    return Template()


@pytest.fixture(scope="session")
def _root(_template, tmp_path_factory):
    root = tmp_path_factory.mktemp("root")
    _template.build(root)
    return root


@pytest.fixture(scope="session")
def _world():
    return World()


@pytest.fixture
def gateway(_world, _template, _root, tmp_path, request):
    made = Gateway(_world, _template, _root, tmp_path)
    request.node.gateway = made
    return made


def pytest_assertrepr_compare(op, left, right):
    if op == "==" and isinstance(left, list) and isinstance(right, list) and Lines in (type(left), type(right)):
        return ["the lists differ (- expected, + seen):"] + difference(left, right)
    return None


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    made = getattr(item, "gateway", None)
    if report.when == "call" and report.failed and made is not None and made.last_run is not None:
        report.sections.append(("last run of the program", made.last_run.dump()))
