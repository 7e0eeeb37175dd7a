#!/usr/bin/python3
"""Draws how the service's cost grows, from what bench/run.sh has measured.

  bench/plot.py BUILD_DIR/benchmark.json docs/performance.svg

Needs Debian's python3-matplotlib.
"""

import json
import sys

import matplotlib

matplotlib.use("Agg")
matplotlib.rcParams["svg.hashsalt"] = "nuvrel"  # the same figures give the same file
import matplotlib.pyplot as plt

from table import Runs

SERVICE, FLOOR = "#1f5fa8", "#9a9a9a"


def series(runs, names, position):
    """Pairs of (x, name), x being one of the numbers in a benchmark's name."""
    return sorted((int(name.split("/")[position]), name) for name in names)


def draw(axes, runs, points, counters, title, label, scale=1e3, unit="µs"):
    for counter, colour, name in counters:
        axes.plot([x for x, _ in points], [runs(n, counter) / scale for _, n in points],
                  "o-", color=colour, label=name, markersize=4)
    axes.set_title(title, fontsize=10)
    axes.set_xlabel(label)
    axes.set_ylabel(unit)
    axes.set_ylim(bottom=0)
    axes.grid(alpha=0.25)
    axes.legend(frameon=False, fontsize=8)


def main(source, target):
    with open(source, encoding="utf-8") as file:
        runs = Runs([json.load(file)])
    figure, (ports, classes, lengths) = plt.subplots(1, 3, figsize=(11, 3.4))
    both = (("service", SERVICE, "init-lapb-flow"), ("floor", FLOOR, "the regular expression alone"))
    draw(ports, runs, series(runs, runs.names("clear/"), 1),
         (("per_policy", SERVICE, "clear-lapb-policies"),),
         "Clearing policies: time for each", "policies", 1, "ns")
    ports.set_xscale("log")
    draw(classes, runs, series(runs, [n for n in runs.names("discovery/") if n.endswith("/0")], 1),
         both, "Learning service classes", "classes in one message")
    draw(lengths, runs,
         series(runs, [n for n in runs.names("discovery/1/") if not n.endswith("/0")], 2),
         both, "One class in a longer message", "bytes of the message")
    figure.tight_layout()
    figure.savefig(target, metadata={"Date": None})


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
