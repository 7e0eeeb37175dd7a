#!/usr/bin/env python3
"""Prints what the benchmarks measured as a table: each figure beside what it is compared with.

  bench/table.py BUILD_DIR [PAGE.md]

With a page, puts the table between its lines "<!-- table -->" and "<!-- end of table -->". Reads the
processes' JSON in BUILD_DIR/runs, as Google Benchmark writes it, and the service libraries. Each
figure is the median of the processes.
"""

import json
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

LIBRARY = "libnuvrelwirelesslinkconfigservice.so"
ARM64_LIBRARY = Path("build-arm64-release/lib") / LIBRARY  # ./dev bench builds it


def read_runs(directory):
    """The median of each counter, by benchmark and counter, such as "Clear/100" and "policy"."""
    values = {}
    for file in directory.glob("*.json"):
        for run in json.loads(file.read_text())["benchmarks"]:
            name = run["name"].split("/iterations:")[0].removesuffix("/manual_time")
            for counter, value in run.items():
                if isinstance(value, float):
                    values.setdefault(name, {}).setdefault(counter, []).append(value)
    return {name: {counter: statistics.median(all) for counter, all in counters.items()}
            for name, counters in values.items()}


def time(nanoseconds):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def packet(run, what):
    more, calls = run["service"] - run["empty"], run["allocations"]
    return (what, time(run["service"]), f"a service that does nothing: {time(run['empty'])}",
            f"{more:.0f} ns more, {calls:.0f} allocations", "60 ns more, none",
            more <= 60 and calls == 0)


def beside(run, what, other, text, limit=None):
    ratio = run[f"service/{other}"]
    return (what, time(run["service"]), f"{text}: {time(run[other])}", f"× {ratio:.3g}",
            f"× {limit}" if limit else "", ratio <= limit if limit else None)


def exchange(run, what):
    own = run["no_driver"] - run["empty"]
    share = 100 * own / run["service"]
    return [beside(run, what, "wpa_ctrl_request", "`wpa_ctrl_request`", 1.1),
            beside(run, what, "send_recv", "bare `send` and `recv`"),
            (f"{what}: the service's own", time(own), f"the whole: {time(run['service'])}",
             f"{share:.2g} %", "1.5 %", share <= 1.5)]


def session(run):
    what = f"a session of {run['commands']:.0f} driver commands"
    return [beside(run, what, "wpa_ctrl_request", "a loop of `wpa_ctrl_request`", 2),
            beside(run, what, "wpa_cli_pipe", "one `wpa_cli`, fed by a pipe"),
            beside(run, what, "wpa_cli_script", "a script, one `wpa_cli` a command"),
            (f"{what}, a process's first", time(run["first"]), f"later: {time(run['service'])}",
             f"× {run['first'] / run['service']:.3g}", "", None)]


def clear(runs):
    each = {count: runs[f"Clear/{count}"]["service"] / count for count in (1, 1000, 10000)}
    growth = {count: runs[f"Clear/{count}"]["service/standard"] * 100 / count for count in each}
    return [(f"clear, for each of {count:,}", time(each[count]),
             f"of 100: {time(runs[f'Clear/{count}']['standard'] / 100)}", f"× {growth[count]:.3g}",
             "× 1.2" if count > 1 else "", growth[count] <= 1.2 if count > 1 else None)
            for count in each]


def discovery(runs, name, what, limit=None):
    return [beside(runs[f"Discovery/{name}"], f"`init-lapb-flow`, {what}", "expression",
                   "the regular expression alone", limit)]


def stripped_size(library, strip="strip"):
    with tempfile.NamedTemporaryFile() as copy:
        subprocess.run([strip, "-o", copy.name, library], check=True)
        return Path(copy.name).stat().st_size


def library(build):
    size = stripped_size(build / "lib" / LIBRARY)
    rows = [("library, x86-64", f"{size:,} bytes", "", "", "131,072 bytes", size <= 131072)]
    if ARM64_LIBRARY.exists():
        size = stripped_size(ARM64_LIBRARY, "aarch64-linux-gnu-strip")
        rows.append(("library, arm64", f"{size:,} bytes", "", "", "", None))
    return rows


def table(runs, build):
    rows = [packet(runs["Packet/unknown"], "packet, unknown command"),
            packet(runs["Packet/init_again"], "packet, `init` when initialised")]
    rows += exchange(runs["OnePacket/re_bind"], "re-bind a policy")
    rows += exchange(runs["OnePacket/apply"], "apply link settings")
    rows += session(runs["Session"]) + clear(runs)
    rows += discovery(runs, "classes_1", "1 class")
    rows += discovery(runs, "classes_8", "8 classes")
    rows += discovery(runs, "classes_32", "32 classes", 1.6)
    rows += discovery(runs, "bytes_4096", "1 class in 4,096 bytes")
    rows += discovery(runs, "parentheses_4096", "4,096 bytes of \"(\"")
    rows += [(f"longest add of {count:,} policies", time(runs[f"Grow/{count}/1"]["longest"]),
              "", "the table grows", "", None) for count in (11000, 50000)]
    rows += [(f"heap for a policy, cookie of {text}", f"{runs[f'Grow/10000/{n}']['bytes']:.0f} bytes",
              "", "", "", None) for n, text in ((1, "2 to 6 characters"), (60, "60"))]
    return rows + library(build)


def layout(rows):
    lines = [("what", "figure", "beside it", "comparison", "at most", "met"), ("---",) * 6]
    lines += [row[:5] + ({True: "yes", False: "NO", None: ""}[row[5]],) for row in rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def main(build, page=None):
    text = layout(table(read_runs(build / "runs"), build))
    print(text, end="")
    if page:
        before, begin, rest = page.read_text().partition("<!-- table -->\n")
        _, end, after = rest.partition("<!-- end of table -->")
        if not end:
            sys.exit(f"{page}: no place for a table: put <!-- table --> and <!-- end of table --> there")
        page.write_text(before + begin + text + end + after)


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    main(*map(Path, sys.argv[1:]))
