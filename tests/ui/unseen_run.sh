#!/usr/bin/env bash
# An unattended run where no box can be shown: its messages are on standard error and in its report, and nothing
# waits. Usage: unseen_run.sh PATH_OF_VNTFixdb
set -euo pipefail
program=$1
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
printf '[VNTFIXV7]\nCurDatabase=%s/nowhere.mdb\n' "$folder" >"$folder/KV_SOFT.ini"
refused "nowhere.mdb"
