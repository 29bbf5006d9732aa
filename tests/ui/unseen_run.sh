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

fails() { # fails TEXT
  local status=0
  timeout 20 "$program" x 2>"$folder/messages" || status=$?
  [ "$status" -eq 1 ] || { echo "exit status $status"; exit 1; }
  for place in "$folder/messages" "$VNTFIX_RUN_REPORT"; do
    grep -qF "$1" "$place" || { echo "\"$1\" is not in $place:"; cat "$place"; exit 1; }
  done
}
refused() { # refused TEXT
  fails "$1"
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

# A notice that is not there is no success, though nothing fails; nor is one that is no number.
history() { "$vntfix" sql "$folder/s/notices.mdb" --csv "select count(*) as n from history" | tail -n 1; }
rows=$(history)
sed -i "/VNTFIXV7/a Ntc_id=5" "$folder/KV_SOFT.ini"
fails "There is no notice 5, which Ntc_id of KV_SOFT.ini asks for."
[ "$(history)" = "$rows" ]
sed -i "s/Ntc_id=5/Ntc_id=abc/" "$folder/KV_SOFT.ini"
fails "is no number of a notice; it is read as 0, which stands for all notices."
[ "$(history)" -gt "$rows" ]
sed -i "/Ntc_id/d" "$folder/KV_SOFT.ini"

# The reason why a database cannot be changed is told once.
ln "$folder/s/notices.mdb" "$folder/s/other name.mdb"
fails "Database is readonly.  VNTFixdb cannot update a readonly database."
grep -qF "VNTFixdb cannot fix a readonly database. " "$folder/messages"
[ "$(grep -cF "a hard link" "$folder/messages")" -eq 1 ] || { cat "$folder/messages"; exit 1; }
