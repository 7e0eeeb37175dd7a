#!/usr/bin/env bash
# Compares what the in-process packets cost, in instructions and heap allocations, with a recorded
# ceiling; both are repeatable where times are not. Fails when one is above.
#   bench/check_cost.sh PACKET_COST_PROGRAM [CEILING_FILE]
# The ceiling holds for x86-64, Debian 12 and its g++ 12 under the bench preset, nothing else. After
# a change that is worth its cost: set it about 5 % above what is printed here.
# Debian package: valgrind
set -euo pipefail

program=$1
ceilings=${2:-$(dirname "${BASH_SOURCE[0]}")/cost_ceiling.txt}
packets=1000
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The C library picks its string functions by the processor: here the same ones on every machine.
export GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-ERMS,-FSRM,-BMI2

failed=0
rows=0
while read -r row most_instructions most_allocations; do
  [[ -z $row || $row == \#* ]] && continue
  valgrind --tool=callgrind --callgrind-out-file="$work/out" --collect-atstart=no \
    --toggle-collect=SendPackets "$program" "$row" "$packets" >"$work/stdout" 2>"$work/stderr" || {
    cat "$work/stderr" >&2
    exit 1
  }
  collected=$(sed -n 's/.*Collected : \([0-9]*\).*/\1/p' "$work/stderr")
  allocations=$(sed -n 's/^allocations_per_packet //p' "$work/stdout")
  instructions=$((collected / packets))
  verdict=ok
  if ((instructions == 0)); then
    verdict='NOTHING COUNTED'
  elif ((instructions > most_instructions)); then
    verdict='TOO MANY INSTRUCTIONS'
  elif [[ $allocations != "$most_allocations" ]]; then
    verdict='OTHER ALLOCATIONS'
  fi
  [[ $verdict == ok ]] || failed=1
  rows=$((rows + 1))
  printf '%-16s %6d instructions (at most %d), %s allocations (%s): %s\n' "$row" "$instructions" \
    "$most_instructions" "$allocations" "$most_allocations" "$verdict"
done <"$ceilings"
((rows > 0)) || {
  printf '%s: no ceilings in it\n' "$ceilings" >&2
  exit 1
}
exit "$failed"
