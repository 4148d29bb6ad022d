"""The arithmetic behind the figures: exponents, ratios, instruction counts, the guard's verdict."""
import importlib.machinery
import importlib.util
import pathlib
import subprocess
import sys
import xml.dom.minidom

import pytest

import counts
import growth
import plots
import ratios

HERE = pathlib.Path(__file__).resolve().parent


def guard():
    loader = importlib.machinery.SourceFileLoader("guard", str(HERE / "guard"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("guard", loader))
    loader.exec_module(module)
    return module


@pytest.mark.parametrize("power, found", [(0, 0.0), (1, 1.0), (2, 2.0), (0.5, 0.5)])
def test_the_exponent_of_a_power(power, found):
    assert growth.exponent([(x, 7 * x ** power) for x in (10, 100, 1000)]) == pytest.approx(found, abs=0.001)


def test_growth_above_what_the_rules_force_is_told():
    rows = [{"x": x, "cost": x ** 2, "least": x} for x in (1, 10, 100)]
    series = growth.Series("n", "things", "us", "linear", rows).as_dict()
    assert (series["exponent"], series["forced_exponent"], series["met"]) == (2.0, 1.0, False)


def test_a_ratio_is_that_of_the_middle_round_and_not_of_the_whole():
    assert ratios.ratio([10, 20, 3000], [10, 10, 1000])["median"] == 2.0


def test_costs_of_called_functions_and_of_other_binaries_are_not_counted():
    text = ("ob=/usr/sbin/ipv6ctl\nfl=???\nfn=main\n0 17\ncob=/usr/lib/libc.so.6\ncfn=open\ncalls=1 30\n0 5000\n0 3\n\n"
            "ob=/usr/lib/libc.so.6\nfn=open\n30 5000\n\nob=/usr/sbin/ipv6ctl\nfn=f\n0 100\n\ntotals: 5120\n")
    assert counts.own_instructions(text) == 120


def test_the_guard_lets_three_percent_pass_and_no_more():
    judge = guard().judge
    assert judge({"a": 1000}, {"a": 1030})[1]
    assert not judge({"a": 1000}, {"a": 1031})[1]
    assert judge({"a": 1000}, {"a": 500})[1]


def test_the_guard_wants_the_same_runs_in_both():
    judge = guard().judge
    assert not judge({"a": 1000}, {})[1]
    assert not judge({}, {"a": 1000})[1]


@pytest.mark.parametrize("costs", [(10, 1000, 90000), (1133, 1967), (5, 5, 5)])
def test_a_plot_is_well_formed_and_has_every_point(costs):
    rows = [{"x": 10 ** at, "cost": cost, "least": 1} for at, cost in enumerate(costs)]
    drawing = plots.growth(growth.Series("n", "things", "us", "", rows).as_dict())
    assert len(xml.dom.minidom.parseString(drawing).getElementsByTagName("circle")) == len(costs)


def test_every_table_has_its_place_in_the_page():
    subprocess.run([sys.executable, HERE / "page", "--check"], check=True)
