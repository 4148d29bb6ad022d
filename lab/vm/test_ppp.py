"""The WAN over PPP, in a guest whose kernel has it: one test for each scenario of the flow."""
import pytest
from ppp_flow import FLOW


@pytest.mark.parametrize("scenario", FLOW.scenarios)
def test_ppp(outcome, scenario):
    outcome(FLOW, scenario)
