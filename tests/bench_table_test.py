#!/usr/bin/env python3
"""What the benchmarks' table says of given figures, and what it does when one is missing."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "bench"))

import table  # noqa: E402


def runs_of(**benchmarks):
    """Runs of benchmarks "name": [{counter: value}, ...]; "__" in a name stands for "/"."""
    return table.Runs([{"benchmarks": [
        dict(counters, run_type="iteration", run_name=name.replace("__", "/") + "/manual_time")
        for name, runs in benchmarks.items() for counters in runs]}])


def packet(service, allocations=0):
    return {"service": service, "floor": 10, "allocations": allocations, "ratio": service / 10}


class TableTest(unittest.TestCase):
    CASES = (
        ("60 ns more", table.packet_row, packet(70), True),
        ("61 ns more", table.packet_row, packet(71), False),
        ("an allocation", table.packet_row, packet(20, allocations=1), False),
        ("half as much again", lambda *a: table.ratio_row(*a, 1.5, 1), packet(15, 1), True),
        ("a little over", lambda *a: table.ratio_row(*a, 1.5, 1), packet(15.1, 1), False),
        ("an allocation too many", lambda *a: table.ratio_row(*a, 1.5, 1), packet(15, 2), False),
        ("no allocations to count", lambda *a: table.ratio_row(*a, 1.5), packet(15, 2), True),
    )

    def test_a_row_says_whether_its_target_is_met(self):
        for what, make, counters, met in self.CASES:
            with self.subTest(what):
                self.assertEqual(make(runs_of(x=[counters]), "x", what)["met"], met)

    def test_a_figure_is_the_median_of_its_runs(self):
        runs = runs_of(x=[packet(9), packet(500), packet(11)])
        self.assertEqual(table.ratio_row(runs, "x", "what", 1.5)["figure"], "11 ns")

    def test_growth_is_judged_from_a_hundred_policies_up_either_way(self):
        for ratios, met in (((9, 1, 1.19), True), ((1, 1, 1.21), False), ((1, 0.79, 1), False)):
            one, hundred, many = ({"per_policy": 1, "floor": 100, "ratio": r} for r in ratios)
            runs = runs_of(clear__1=[one], clear__100=[hundred], clear__10000=[many])
            with self.subTest(ratios):
                self.assertEqual(table.clear_row(runs)["met"], met)

    def test_a_session_is_compared_the_other_way_round(self):
        for ratio, met in ((0.02, True), (0.021, False)):
            runs = runs_of(session=[{"service": 1, "floor": 1, "first": 1, "ratio": ratio}])
            self.assertEqual(table.session_row(runs)["met"], met)

    def test_a_missing_figure_is_an_error(self):
        with self.assertRaises(KeyError):
            table.table(runs_of(x=[packet(9)]), "no library")


if __name__ == "__main__":
    unittest.main()
