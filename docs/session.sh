#!/usr/bin/env bash
# Makes docs/session.png, a session as a terminal shows it. Needs ./dev demo before, and Debian's
# aha, fonts-dejavu-core, pango1.0-tools and bsdutils.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
session='wlc run --fault SET_TX_RATEMASK@1:fail init apply-link-settings revert-link-settings deinit'
{
  printf '$ %s\n\n' "${session/init/$'\\\n    init'}"
  PATH=$PWD/build/bin:$PATH script -qec "$session" /dev/null
} | tr -d '\r' | sed -E 's/( at )\/tmp\/wlc-[^/]*/\1\/tmp\/wlc-XXXXXX/' | aha --no-header |
  sed -E 's/style="font-weight:bold;"/weight="bold"/g; s/style="color:([a-z]*);"/foreground="\1"/g' |
  pango-view --markup --font='DejaVu Sans Mono 10' --dpi=110 --margin=14 -qo docs/session.png /dev/stdin
