#!/usr/bin/env bash
# Runs the benchmarks that the bench preset has built and prints a table of their medians:
#   bench/run.sh [PROCESSES]     7 unless given
# Each process plays all of them five times in random order. There are several, since the layout of a
# process's memory shifts what it measures. One only shows that everything still runs. Leaves their
# JSON in build-bench/runs.
# All on one processor: waking another one that is idle takes several times as long as an exchange,
# on a virtual machine above all. With the clients' socket files in memory,
# where many systems have their /tmp.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
runs=build-bench/runs
processor=$(sed -n 's/^Cpus_allowed_list:[[:space:]]*\([0-9]*\).*/\1/p' /proc/self/status)
export TMPDIR=/dev/shm
taskset --cpu-list "$processor" build-bench/bin/wlc driver --ctrl-dir build-bench/driver >/dev/null &
driver=$!
trap 'kill "$driver"' EXIT
until [[ -S build-bench/driver/wlan0 ]]; do
  kill -0 "$driver"
  sleep 0.01
done

rm -rf "$runs"
mkdir -p "$runs"
for ((i = 1; i <= ${1:-7}; ++i)); do
  taskset --cpu-list "$processor" build-bench/bin/service_benchmark --benchmark_min_time=0.05 \
    --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
    --benchmark_out="$runs/$i.json" >"$runs/$i.log" 2>&1 || {
    tail -n 5 "$runs/$i.log" >&2
    exit 1
  }
done
bench/table.py
