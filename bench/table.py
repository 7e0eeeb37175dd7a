#!/usr/bin/env python3
"""Prints what bench/run.sh measured as a table: each figure beside what it is compared with.

Reads the JSON of Google Benchmark in build-bench/runs and the service libraries. A figure is the
median of all repetitions of all processes.
"""

import json
import statistics
import subprocess
from pathlib import Path

LIBRARY = "lib/libnuvrelwirelesslinkconfigservice.so"


def medians(counter):
    """The median of a counter, such as "real_time" in nanoseconds, by the benchmark's name."""
    values = {}
    for file in Path("build-bench/runs").glob("*.json"):
        for run in json.loads(file.read_text())["benchmarks"]:
            if run["run_type"] == "iteration" and counter in run:
                values.setdefault(run["run_name"].removesuffix("/manual_time"), []).append(run[counter])
    return {name: statistics.median(all) for name, all in values.items()}


def time(nanoseconds):
    return f"{nanoseconds / 1000:.3g} µs" if nanoseconds >= 1000 else f"{nanoseconds:.3g} ns"


def row(what, figure, beside="", comparison="", limit="", met=""):
    met = {True: "yes", False: "NO"}.get(met, met)
    print("|", " | ".join((what, figure, beside, comparison, limit, met)), "|")


def ratio(what, figure, floor, text, limit=None):
    row(what, time(figure), f"{text}: {time(floor)}", f"× {figure / floor:.3g}",
        f"× {limit}" if limit else "", figure <= limit * floor if limit else "")


def size(what, library, strip, limit=None):
    if Path(library).exists():
        subprocess.run([strip, "-o", "build-bench/stripped", library], check=True)
        bytes = Path("build-bench/stripped").stat().st_size
        row(what, f"{bytes:,} bytes", limit=f"{limit:,} bytes" if limit else "",
            met=bytes <= limit if limit else "")


times = medians("real_time")
row("what", "figure", "beside it", "comparison", "at most", "met")
row(*["---"] * 6)
for name, what in (("unknown", "packet, unknown command"), ("init_again", "packet, `init` when initialised")):
    more, allocations = times[f"Packet/{name}"] - times["Empty"], medians("allocations")[f"Packet/{name}"]
    row(what, time(times[f"Packet/{name}"]), f"a service that does nothing: {time(times['Empty'])}",
        f"{more:.0f} ns more, {allocations:.0f} allocations", "60 ns more, none", more <= 60 and allocations < 0.5)
for name, what in (("re_bind", "re-bind a policy"), ("apply", "apply link settings")):
    whole = times[f"Exchange/{name}"]
    ratio(what, whole, times[f"Exchange/{name}_request"], "`wpa_ctrl_request`", 1.1)
    ratio(what, whole, times[f"Exchange/{name}_send_recv"], "bare `send` and `recv`")
    own = times[f"Packet/{name}"] - times["Empty"]
    row(f"{what}: the service's own", time(own), f"the whole: {time(whole)}", f"{100 * own / whole:.2g} %",
        "0.2 µs or 2.5 %", own <= max(200, 0.025 * whole))
ratio("a whole session, 12 driver commands", times["Session/service"],
      times["Session/request"], "a C loop of the same lines", 2)
for count in (1, 1000, 10000):
    ratio(f"clear, for each of {count:,}", times[f"Clear/{count}"] / count, times["Clear/100"] / 100, "of 100",
          1.2 if count > 1 else None)
ratio("`init-lapb-flow`, 32 classes", times["Discovery"], times["Expression"],
      "the regular expression alone", 1.6)
size("library, x86-64", f"build-bench/{LIBRARY}", "strip", 131072)
size("library, arm64", f"build-arm64-release/{LIBRARY}", "llvm-strip")
