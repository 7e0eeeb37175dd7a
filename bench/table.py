#!/usr/bin/env python3
"""One table of what the benchmarks measured: figure, floor, comparison, target, met or not.

  bench/table.py BUILD_DIR [PAGE.md]

With a page, puts the table between its lines "<!-- table -->" and "<!-- end of table -->". Reads BUILD_DIR/in_process.json and socket.json, as Google Benchmark writes them, and the service
library there; writes all of it to BUILD_DIR/benchmark.json. Each figure is the median of its runs,
each comparison the median of what the runs compared. Exit status 1 when a figure is missing.
"""

import json
import statistics
import sys
from pathlib import Path

from library_size import MAX_BYTES, account, stripped_size


class Runs:
    """The runs of all benchmarks by name, such as "re-bind" or "clear/100"."""

    def __init__(self, reports):
        self.by_name = {}
        for report in reports:
            for run in report["benchmarks"]:
                if run["run_type"] == "iteration":
                    parts = run["run_name"].split("/")
                    numbers = [part for part in parts[1:] if part.isdigit()]
                    self.by_name.setdefault("/".join(parts[:1] + numbers), []).append(run)

    def __call__(self, name, counter):
        """The median of a counter over the runs of a benchmark."""
        return statistics.median(run[counter] for run in self.by_name[name])

    def names(self, start):
        return [name for name in self.by_name if name.startswith(start)]


def time_text(nanoseconds):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def row(what, figure, floor, comparison, target="reported", met=None):
    return {"row": what, "figure": figure, "floor": floor, "comparison": comparison,
            "target": target, "met": met}


def packet_row(runs, name, what):
    more = runs(name, "service") - runs(name, "floor")
    calls = runs(name, "allocations")
    return row(what, time_text(runs(name, "service")), time_text(runs(name, "floor")),
               f"{more:.0f} ns more, {calls:.0f} allocations", "≤ 60 ns more, 0 allocations",
               more <= 60 and calls == 0)


def ratio_row(runs, name, what, limit, commands=None):
    ratio = runs(name, "ratio")
    text, target, met = f"× {ratio:.3g}", f"≤ × {limit}", ratio <= limit
    if commands:
        calls = runs(name, "allocations")
        text += f", {calls:.0f} allocations"
        target += f", {commands} allocations"
        met = met and calls == commands
    return row(what, time_text(runs(name, "service")), time_text(runs(name, "floor")), text, target,
               met)


def session_row(runs):
    faster = 1 / runs("session", "ratio")
    first = runs("session", "floor") / runs("session", "first")
    return row("whole session, init to deinit", time_text(runs("session", "service")),
               time_text(runs("session", "floor")),
               f"{faster:.0f} times faster; a process's first {first:.0f} times",
               "≥ 50 times faster", faster >= 50)


def clear_row(runs):
    ratios = {int(name.split("/")[1]): runs(name, "ratio") for name in runs.names("clear/")}
    worst = max((ratios[count] for count in ratios if count >= 100), key=lambda r: abs(r - 1))
    return row("clear policies, one of 10,000", time_text(runs("clear/10000", "per_policy")),
               time_text(runs("clear/10000", "floor") / 100) + " one of 100",
               f"× {worst:.3g} at worst from 100 up", "within 20 %", abs(worst - 1) <= 0.2)


def size_row(library):
    size = stripped_size(library)
    shares = ", ".join(f"{name} {100 * part / size:.0f} %" for name, part in account(library).items())
    return row("library, stripped", f"{size / 1024:.0f} KB", "—", shares,
               f"≤ {MAX_BYTES // 1024} KB", size <= MAX_BYTES)


def memory_row(runs):
    heap, floor = runs("memory", "heap_bytes"), runs("memory", "floor_bytes")
    return row("heap after 10,000 policies", f"{heap / 1024:.0f} KB", f"{floor / 1024:.0f} KB",
               f"{heap / 10000:.0f} bytes a policy")


def table(runs, library):
    return [
        packet_row(runs, "unknown-command", "packet, unknown command"),
        packet_row(runs, "init-again", "packet, init when initialised"),
        ratio_row(runs, "re-bind", "re-bind a policy", 1.5, commands=1),
        ratio_row(runs, "apply", "apply link settings", 1.5, commands=3),
        ratio_row(runs, "socket-re-bind", "re-bind a policy, real socket", 1.03),
        ratio_row(runs, "socket-apply", "apply link settings, real socket", 1.03),
        session_row(runs),
        clear_row(runs),
        ratio_row(runs, "discovery/32/0", "init-lapb-flow, 32 classes", 1.3),
        row("load, first create, last release", time_text(runs("load", "service")),
            time_text(runs("load", "floor")), f"× {runs('load', 'ratio'):.3g}"),
        size_row(library),
        memory_row(runs),
    ]


def layout(rows, markdown):
    verdicts = {True: "yes", False: "NO", None: ""}
    cells = [["what", "figure", "floor", "comparison", "target", "met"]]
    cells += [[r["row"], r["figure"], r["floor"], r["comparison"], r["target"], verdicts[r["met"]]]
              for r in rows]
    widths = [0 if markdown else max(len(line[i]) for line in cells) for i in range(6)]
    lines = [[cell.ljust(width) for cell, width in zip(line, widths)] for line in cells]
    lines.insert(1, ["---"] * 6 if markdown else ["-" * width for width in widths])
    if markdown:
        return "".join("| " + " | ".join(line) + " |\n" for line in lines)
    return "".join("  ".join(line).rstrip() + "\n" for line in lines)


def put_into(page, rows):
    before, begin, rest = page.read_text().partition("<!-- table -->\n")
    _, end, after = rest.partition("<!-- end of table -->")
    if not end:
        sys.exit(f"{page}: no place for a table: put <!-- table --> and <!-- end of table --> there")
    page.write_text(before + begin + layout(rows, markdown=True) + end + after)


def main(arguments):
    build = Path(arguments[0])
    reports = [json.loads((build / name).read_text()) for name in ("in_process.json", "socket.json")]
    try:
        rows = table(Runs(reports), build / "lib" / "libnuvrelwirelesslinkconfigservice.so")
    except KeyError as missing:
        print(f"{build}: no figure for {missing}: run bench/run.sh again", file=sys.stderr)
        return 1
    context = {key: value for key, value in reports[0]["context"].items()
               if key not in ("host_name", "executable")}
    merged = {"context": context, "table": rows,
              "benchmarks": [run for report in reports for run in report["benchmarks"]]}
    (build / "benchmark.json").write_text(json.dumps(merged, indent=1))
    print(layout(rows, markdown=False), end="")
    for page in arguments[1:]:
        put_into(Path(page), rows)
    return 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
