#!/usr/bin/env bash
# Plays a transcript, a shell session with wlc, and compares what happens with what it says:
#   runner_transcript_test.sh TRANSCRIPT BUILD_DIRECTORY [EMULATOR]
# Its commands stand behind "$ " and go on behind "> ". After each come its whole standard output,
# its standard error behind "! ", and "= " with its exit status; all else is prose. One shell runs
# them, in a new directory that holds examples/ and goes with it. A line that ends in "..." stands
# for each that begins so, and what is never the same is shown as #. A difference is printed as a
# patch: where it was meant, apply it to the transcript.
set -uo pipefail
transcript=$(realpath "$1") build=$(realpath "$2") emulator=${3:-}
scratch=$(mktemp -d) || exit
trap 'jobs -p | xargs -r kill 2>/dev/null; rm -rf "$scratch"' EXIT
mkdir "$scratch/here" "$scratch/bin"
trap '' PIPE # writing to one that has ended fails, and that is all
# A shell starts what runs beside it deaf to SIGINT.
printf '#!/bin/sh\nexec env --default-signal=INT,PIPE %s "$@"\n' "$emulator $build/bin/wlc" \
  >"$scratch/bin/wlc"
chmod +x "$scratch/bin/wlc"
export PATH="$scratch/bin:$PATH:/usr/sbin:/sbin" TMPDIR=$scratch LC_ALL=C
unset NO_COLOR
ln -s "$(dirname "$(realpath "$0")")/../examples" "$scratch/here/examples"
cd "$scratch/here" || exit

# For transcripts: await CONDITION..., a command that comes true in the transcript's first minute.
await() {
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS > 60)); then
      echo "has not come true: $*" >&2
      return 1
    fi
    sleep 0.01
  done
}

# For transcripts: faulty RULE ARGUMENT..., what the fault changes in what wlc run shows.
faulty() {
  plain() { sed -E 's/ +[0-9.]+ ms$//; s/^[0-9.]+ ms/#/; s/wlc-.{6}/wlc-/'; }
  wlc run "${@:2}" 2>&1 | plain >good
  wlc run --fault "$@" 2>&1 | plain >bad
  local status=${PIPESTATUS[0]}
  diff good bad | sed -n 's/^</-/p; s/^>/+/p'
  return "$status"
}

# Copies the transcript with what its commands do now in place of what they did.
play() {
  local line command='' told='' status
  while IFS= read -r line || [[ $command ]]; do
    if [[ $command && $line != '> '* ]]; then
      eval "$command" >"$scratch/out" 2>"$scratch/error" </dev/null
      status=$?
      cat "$scratch/out"
      sed 's/^/! /' "$scratch/error"
      printf '= %s\n' "$status"
      command='' told=yes
    fi
    if [[ $line == '$ '* ]]; then
      command=${line#??} told=''
    elif [[ $command ]]; then
      command+=$'\n'${line#??}
    fi
    if [[ ! $told ]]; then printf '%s\n' "$line"; fi
    if [[ $line == '= '* ]]; then told=''; fi
  done
}

for program in wpa_cli wpa_supplicant python3; do # looked for here: no target is built with them
  if grep -qw "$program" "$transcript" && ! command -v "$program" >/dev/null; then
    echo "$transcript needs $program, which is not in $PATH"
    exit 1
  fi
done
grep -q '^[$] ' "$transcript" || { echo "there is no command in $transcript"; exit 1; }
play <"$transcript" >"$scratch/played"
# Times (they end where they ended), private directories, the build, source lines, addresses, and
# the order in which the service's map gives the cookies of its policies. Not in commands.
sed -E -i -e '/^[$>] /b' \
  -e 's/([0-9]+)\.[0-9]{2} ms/@\1@#.## ms/; :w s/@[0-9]([0-9]+@)/ @\1/; tw; s/@[0-9]@//; s/^ +#/#/' \
  -e 's/("(microseconds|ts|dur)":)[0-9.e-]+/\1#/g' \
  -e "s|$scratch(/wlc-.{6})?|#|g; s|$build/|#/|g" -e 's/(\[[A-Za-z]+:)[0-9]+\]/\1#]/g' \
  -e 's/: 0x[0-9a-f]+K/: #/; s/(POLICY_DELETE cookie p)[12]/\1#/g' "$scratch/played"
awk 'NR == FNR { if (sub(/\.\.\.$/, "") && $0 != "") stems[$0]; next }
     { for (stem in stems) if (index($0, stem) == 1) $0 = stem "..."; print }' \
  "$transcript" "$scratch/played" |
  diff -u -F '^[$] ' --label "tests/runner_transcripts/${transcript##*/}" --label played \
    "$transcript" -
