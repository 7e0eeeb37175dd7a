#!/usr/bin/env python3
"""The size of the service library without its symbols, and where it goes.

  bench/library_size.py LIBRARY           prints the account; exit status 1 above MAX_BYTES
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

MAX_BYTES = 128 * 1024

SYMBOL = re.compile(r"^([0-9a-f]+) ([0-9a-f]+) (\w) (.*)$", re.MULTILINE)

# The first that fits a symbol's name is its group.
GROUPS = (
    ("regular expression", re.compile(r"regex|__detail::_(NFA|Executor|Compiler|Scanner|State|"
                                      r"Bracket|AnyMatcher|CharMatcher)|sub_match|__collatenames")),
    ("rest of the standard library", re.compile(r"std::|__gnu_cxx|operator ")),
    ("service", re.compile(r"")),
)


def stripped_size(library):
    with tempfile.TemporaryDirectory() as directory:
        copy = Path(directory) / "stripped.so"
        subprocess.run(["strip", "-o", copy, library], check=True)
        return copy.stat().st_size


def account(library):
    """Bytes by group. What no symbol has is log texts and what loading and unwinding need."""
    sizes = {name: 0 for name, _ in GROUPS}
    listing = subprocess.run(["nm", "--print-size", "--demangle", library], check=True,
                             capture_output=True, text=True).stdout
    seen = set()
    for address, size, kind, symbol in SYMBOL.findall(listing):
        if kind in "bB" or address in seen:
            continue  # without bytes in the file, or another name for the same
        seen.add(address)
        group = next(name for name, pattern in GROUPS if pattern.search(symbol))
        sizes[group] += int(size, 16)
    sizes["texts and tables"] = stripped_size(library) - sum(sizes.values())
    return sizes


def main(library):
    size = stripped_size(library)
    for name, part in account(library).items():
        print(f"{part:8} {name}")
    print(f"{size:8} in all, at most {MAX_BYTES}")
    return 0 if size <= MAX_BYTES else 1


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1]))
