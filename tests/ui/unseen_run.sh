#!/usr/bin/env bash
# An unattended run where no box can be shown: its messages are on standard error and in its report, and nothing
# waits. Usage: unseen_run.sh PATH_OF_VNTFixdb PATH_OF_vntfix
set -euo pipefail
program=$1
vntfix=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset DISPLAY WAYLAND_DISPLAY
export VNTFIX_WINDIR=$folder VNTFIX_CDRIVE=$folder VNTFIX_RUN_REPORT=$folder/report
echo "of a former run" >"$VNTFIX_RUN_REPORT"

refused() { # refused TEXT
  local status=0
  timeout 20 "$program" x 2>"$folder/messages" || status=$?
  [ "$status" -eq 1 ] || { echo "exit status $status"; exit 1; }
  grep -qF "$1" "$folder/messages" || { echo "\"$1\" is not among the messages:"; cat "$folder/messages"; exit 1; }
  cmp "$folder/messages" "$VNTFIX_RUN_REPORT"
}
refused "No database specified."
grep -qF "CurDatabase is looked for in section [VNTFIXV7] of $folder/KV_SOFT.ini, and there is no such file." \
  "$folder/messages"
printf '[VNTFIXV7]\nCurDatabase=%s/nowhere.mdb\n' "$folder" >"$folder/KV_SOFT.ini"
refused "nowhere.mdb"

# The conventional words, alone, print and end; whatever else is a run.
for word in --help -h; do "$program" $word | grep '^VNTFixdb TEXT' >/dev/null; done
"$program" --version | grep -Eq '^VNTFixdb [0-9]+\.[0-9]+\.[0-9]+$'
refused "nowhere.mdb"

# With Quiet, messages stay away from a display too: it is never asked for.
export DISPLAY=:4711
printf '[VNTFIXV7]\nCurDatabase=%s/nowhere.mdb\nQuiet=1\n' "$folder" >"$folder/KV_SOFT.ini"
refused "nowhere.mdb"
unset DISPLAY

# What is fixed is said before it starts.
"$vntfix" sample "$folder/s" --notices 10 >"$folder/made"
printf '[VNTFIXV7]\nCurDatabase=%s/s/notices.mdb\n[GLOBAL]\nVeltRefdb=%s/s/reference.mdb\nEmptyDBV6=%s/s/template.mdb\n' \
  "$folder" "$folder" "$folder" >"$folder/KV_SOFT.ini"
"$program" x 2>"$folder/messages"
grep -qx "VNTFixdb: fixing $folder/s/notices.mdb, all notices." "$folder/messages"
