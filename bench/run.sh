#!/usr/bin/env bash
# Runs the benchmarks that the bench preset has built and prints one table of what they measured.
#   bench/run.sh [BUILD_DIR] [--quick]
# BUILD_DIR is build-bench unless given. --quick only shows that everything still runs: its figures
# are worth nothing. Writes in_process.json, socket.json and benchmark.json (both, with the table)
# into BUILD_DIR.
# Debian packages: libbenchmark-dev wpasupplicant binutils python3; for plot.py python3-matplotlib,
# for check_cost.sh valgrind.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$here/../build-bench
options=(--benchmark_repetitions=11 --benchmark_min_time=0.05)
for argument in "$@"; do
  case "$argument" in
    --quick) options=(--benchmark_repetitions=1 --benchmark_min_time=0.0001) ;;
    *) build=$argument ;;
  esac
done

# measure NAME [COMMAND...]: runs NAME_benchmark, by way of the command if one is given.
measure() {
  "${@:2}" "$build/bin/$1_benchmark" "${options[@]}" --benchmark_out="$build/$1.json" \
    --benchmark_out_format=json >"$build/$1.log" 2>&1 || {
    printf '%s_benchmark failed:\n' "$1" >&2
    tail -n 5 "$build/$1.log" >&2
    exit 1
  }
}

measure in_process
# On one processor: waking another one that is idle takes several times as long as an exchange, on a
# virtual machine above all. With the socket files in memory, where many systems have their /tmp.
measure socket env TMPDIR=/dev/shm taskset --cpu-list \
  "$(sed -n 's/^Cpus_allowed_list:[[:space:]]*\([0-9]*\).*/\1/p' /proc/self/status)"
python3 "$here/table.py" "$build"
