#!/usr/bin/env bash
# Plays a transcript, a shell session with wlc, and compares what happens with what it says:
#   wlc_transcript_test.sh TRANSCRIPT BUILD_DIRECTORY [EMULATOR]
# Each transcript tells its signs at its top. One shell runs its commands, in a new directory that
# holds examples/ and goes with it. Blank lines of an output are left out. A difference is printed as
# a patch: where it was meant, apply it to the transcript.
set -uo pipefail
transcript=$(realpath "$1") build=$(realpath "$2") emulator=${3:-}
tests=$(dirname "$(realpath "$0")")
scratch=$(mktemp -d) || exit
trap 'jobs -p | xargs -r kill 2>/dev/null; rm -rf "$scratch"' EXIT
mkdir "$scratch/here" "$scratch/bin"
trap '' PIPE # writing to one that has ended fails, and that is all
# A shell starts background jobs with SIGINT ignored, and nohup ignores SIGHUP.
printf '#!/bin/sh\nexec env --default-signal=HUP,INT,PIPE %s "%s" "$@"\n' "$emulator" \
  "$build/bin/wlc" >"$scratch/bin/wlc"
chmod +x "$scratch/bin/wlc"
export PATH="$scratch/bin:$PATH:/usr/sbin:/sbin" HOME=$scratch TMPDIR=$scratch LC_ALL=C
export TSAN_OPTIONS=atexit_sleep_ms=0 # else it takes a second of the three that a signal leaves
unset NO_COLOR
ln -s "$tests/../examples" "$scratch/here/examples"
cd "$scratch/here" || exit
for program in wpa_cli wpa_supplicant python3 script; do # looked for here: no build needs them
  if grep -qw "$program" "$transcript" && ! command -v "$program" >/dev/null; then
    echo "$transcript needs $program, which is not in $PATH"
    exit 1
  fi
done

# For transcripts: await CONDITION..., a command that comes true in the transcript's first 200 s, so
# that what was played can be shown before ctest's limit.
await() {
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS > 200)); then
      echo "has not come true: $*" >&2
      return 1
    fi
    sleep 0.01
  done
}

# For transcripts: brief ARGUMENT..., a session of wlc run in short, as they explain at their top.
# `shorten` does it to a session that was written elsewhere.
brief() {
  # shellcheck disable=SC2119  # its input is the pipe
  wlc run --log-level error "$@" 2>&1 | shorten
  return "${PIPESTATUS[0]}"
}
# shellcheck disable=SC2120  # transcripts call it with files
shorten() {
  cat -v "$@" | joined | awk '
    function end() { all = all status sign answers; status = sign = answers = "" }
    /^ +(answer|message) / && !/ (OK|cookie=[^ ]+|svc_count:[0-9]+|.*\([0-9, ]+\)) +[0-9.]+ ms$/ {
      sub(/^ +[a-z]+ +/, ""); sub(/ +[0-9.]+ ms$/, ""); odd = odd (odd ? ", " : "[") $0 }
    $1 == "status" { end(); status = " " $2 + 0; sign = /matches/ ? "=" : /still differs/ ? "!" : ""
                     answers = odd (odd ? "]" : ""); odd = "" }
    $1 == "differs" { sign = "!" }
    sub(/^ +(differs|note:) +/, "") || /^wlc: / { rest = rest "\n" $0 }
    END { end(); print substr(all, 2) rest }'
}

# For transcripts: the lines that wlc has broken at column 80, whole.
joined() { sed -zE 's/\n( {4}| {12}| {15})([^ ])/ \2/g'; }

# Times (they end where they ended), private directories, the build, source lines, addresses, and
# the order in which the service's map gives the cookies of its policies.
tidy() {
  sed -E -e 's/([0-9]+)\.[0-9]{2} ms/@\1@#.## ms/; :w s/@[0-9]([0-9]+@)/ @\1/; tw; s/@[0-9]@//' \
    -e 's/^ +[0-9]+\.[0-9]{3} s /     # s /; s/^ +#.## ms/#.## ms/; s/("(microseconds|ts|dur)":)[0-9.]+(e-?[0-9]+)?/\1#/g' \
    -e "s/$(literal "$scratch")(\/wlc-.{6})?/#/g; s/$(literal "$build")\//#\//g" \
    -e 's/(\[[A-Za-z]+:)[0-9]+\]/\1#]/g; s/: 0x[0-9a-f]+K/: #/; s/(POLICY_DELETE cookie p)[12]/\1#/g'
}
literal() { sed 's/[][\.*^$+?(){}|/]/\\&/g' <<<"$1"; }

# Runs $command; "told" gets what it prints, and its exit status when that is not 0.
run() {
  local status
  eval "$command" >"$scratch/out" 2>&1 </dev/null
  status=$?
  command=''
  tidy <"$scratch/out" | grep . >"$scratch/told"
  if ((status)); then echo "exit $status" >>"$scratch/told"; fi
}

# Breaks lines of more than 120 characters, at a blank where there is one.
fold() {
  awk '{ for (part = ""; length > 120; $0 = "    " substr($0, length(part) + 1)) {
           part = substr($0, 1, 118); sub(/[^ ]+$/, "", part)
           if (part !~ /[^ ]/) part = substr($0, 1, 118)
           print part "\\" }
         print }' "$1"
}

# Copies the transcript with what its commands do now in place of what they did.
play() {
  local line command='' told=''
  while IFS= read -r line || [[ $command ]]; do
    if [[ $command && $line != '$ '* ]]; then
      run
      fold "$scratch/told"
      told=yes
    elif [[ $line == '$ '* ]]; then
      told='' command+=${command:+$'\n'}${line#??}
      if [[ $line == *' -> '* ]]; then
        command=${command%% -> *}
        run
        line="${line%% -> *} -> $(awk '{ printf "%s%s", sep, $0; sep = "; " }' "$scratch/told")"
        if ((${#line} > 120)); then line=${line%% -> *}$'\n'$(fold "$scratch/told")$'\n'; fi
      fi
    fi
    if [[ -z $line ]]; then told=''; fi
    if [[ ! $told ]]; then printf '%s\n' "$line"; fi
  done
}

grep -q '^[$] ' "$transcript" || { echo "there is no command in $transcript"; exit 1; }
play <"$transcript" >"$scratch/played"
diff -u -F '^[$] ' --label "tests/wlc_transcripts/${transcript##*/}" --label played \
  "$transcript" "$scratch/played"
