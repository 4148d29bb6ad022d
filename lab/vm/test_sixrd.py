"""6rd, in a guest whose kernel has it: one test for each scenario of the flow."""
import pytest
from sixrd_flow import FLOW


@pytest.mark.parametrize("scenario", FLOW.scenarios)
def test_sixrd(outcome, scenario):
    outcome(FLOW, scenario)
