#!/usr/bin/env bash
# Runs the benchmarks that the bench preset has built, each time in a new process, since the layout of
# its memory shifts what it measures, and prints one table of their medians:
#   bench/run.sh [PROCESSES]     11 unless given
# One process only shows that everything still runs: its figures are worth little. Leaves the
# processes' JSON in build-bench/runs.
# All on one processor: waking another one that is idle takes several times as long as an exchange,
# on a virtual machine above all. With the socket files in memory, where many systems have their /tmp.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
processes=${1:-11}
runs=build-bench/runs
processor=$(sed -n 's/^Cpus_allowed_list:[[:space:]]*\([0-9]*\).*/\1/p' /proc/self/status)
export TMPDIR=/dev/shm DRIVER_DIRECTORY HOME
DRIVER_DIRECTORY=$(mktemp -d)
HOME=$DRIVER_DIRECTORY # where wpa_cli would put its history
taskset --cpu-list "$processor" build-bench/bin/wlc driver --ctrl-dir "$DRIVER_DIRECTORY" >/dev/null &
driver=$!
trap 'kill "$driver"; rm -rf "$DRIVER_DIRECTORY"' EXIT
until [[ -S $DRIVER_DIRECTORY/wlan0 ]]; do
  kill -0 "$driver"
  sleep 0.01
done

rm -rf "$runs"
mkdir -p "$runs"
for ((i = 1; i <= processes; ++i)); do
  printf 'process %d of %d\r' "$i" "$processes" >&2
  taskset --cpu-list "$processor" build-bench/bin/service_benchmark \
    --benchmark_min_time=0.05 --benchmark_out="$runs/$i.json" >"$runs/$i.log" 2>&1 || {
    tail -n 5 "$runs/$i.log" >&2
    exit 1
  }
done
bench/table.py build-bench
