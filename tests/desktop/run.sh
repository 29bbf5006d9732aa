#!/usr/bin/env bash
# What the desktop is told of the window, and what happens when a database is clicked on: it is shown, no fix is run
# and no byte is changed. Usage: run.sh PATH_OF_VNTFixdb PATH_OF_vntfix FOLDER_OF_DESKTOP_FILES METAINFO
set -euo pipefail
program=$1
vntfix=$2
desktop=$3
metainfo=$4
folder=$(mktemp -d)
clicked=
cleanup() {
  [ -z "$clicked" ] || kill "$clicked" 2>/dev/null || true
  rm -rf "$folder"
}
trap cleanup EXIT
PATH=$(dirname "$program"):$desktop:$PATH
fail() {
  echo "$*"
  exit 1
}

desktop-file-validate "$desktop/vntfixdb.desktop"
cp "$metainfo" "$folder/$(sed -n 's|.*<id>\(.*\)</id>.*|\1|p' "$metainfo").metainfo.xml"
appstreamcli validate --no-net "$folder"/*.metainfo.xml
for picture in "$desktop"/icons/*.png; do
  size=$(basename "$picture" .png)
  file=$(od -An -j16 -N8 -tx1 "$picture" | tr -d ' ')
  [ "$file" == "$(printf '%08x%08x' "$size" "$size")" ] || fail "$picture has another size."
done

# Both kinds of file are of the type that the window is offered for; so is one whose name says nothing.
mkdir -p "$folder/share/mime/packages" "$folder/share/applications"
cp /usr/share/mime/packages/freedesktop.org.xml "$desktop/vntfixdb.xml" "$folder/share/mime/packages"
cp "$desktop/vntfixdb.desktop" "$folder/share/applications"
update-mime-database "$folder/share/mime" 2>"$folder/said"
update-desktop-database "$folder/share/applications"
"$vntfix" sample "$folder/s" --notices 10 >"$folder/made"
"$vntfix" new "$folder/s/new.accdb"
cp "$folder/s/notices.mdb" "$folder/s/plain"
cp "$folder/s/new.accdb" "$folder/s/plain-too"
export XDG_DATA_HOME=$folder/share XDG_DATA_DIRS=$folder/none
for file in notices.mdb new.accdb plain plain-too; do
  type=$(gio info -a standard::content-type "$folder/s/$file" | sed -n 's/.*content-type: //p')
  [ "$type" == application/vnd.ms-access ] || fail "$file is of type $type."
done
gio mime application/vnd.ms-access >"$folder/offered"
grep -q vntfixdb.desktop "$folder/offered" || fail "Databases are not offered to the window."
unset XDG_DATA_HOME XDG_DATA_DIRS

# What a start of a run would take is at hand, so that one would be seen.
export VNTFIX_WINDIR=$folder VNTFIX_CDRIVE=$folder/c XDG_CONFIG_HOME=$folder/config NO_AT_BRIDGE=1
export VNTFIX_RUN_REPORT=$folder/report VNTFIX_SQL_LOG=$folder/log
printf '[VNTFIXV7]\nCurDatabase=%s\n[GLOBAL]\nVeltRefdb=%s\nEmptyDBV6=%s\n' \
  "$folder/s/template.mdb" "$folder/s/reference.mdb" "$folder/s/template.mdb" >"$folder/KV_SOFT.ini"
echo "no database" >"$folder/s/odd.mdb"
cp "$folder/s/notices.mdb" "$folder/s/with blank & sign.mdb"
sums=$(cd "$folder/s" && sha256sum * && stat -c '%n %Y' *)
recent=$folder/config/vntfix/VNTFixdb.ini

unchanged() {
  [ "$(cd "$folder/s" && sha256sum * && stat -c '%n %Y' *)" == "$sums" ] || fail "$1: a file has changed."
  [ ! -e "$VNTFIX_RUN_REPORT" ] || fail "$1: a run was begun."
  ! grep -viE '^select .* from vnt_ooak' "$VNTFIX_SQL_LOG" || fail "$1: statements were sent."
}
# As a desktop starts it: what Exec= says, with the file in place of %f.
click() { # FILE...
  : >"$VNTFIX_SQL_LOG"
  rm -f "$recent"
  local words
  words=$(sed -n 's/^Exec=\(.*\) %f$/\1/p' "$desktop/vntfixdb.desktop")
  [ "$words" == vntfixdb-open ] || fail "Exec= of the desktop file has changed: $words"
  "$desktop/$words" "$@" 2>"$folder/said" &
  clicked=$!
}
end_click() {
  kill -0 "$clicked" 2>/dev/null || fail "$1: the window is not there: $(cat "$folder/said")"
  kill "$clicked"
  wait "$clicked" 2>/dev/null || true
  clicked=
  unchanged "$1"
}
shown() { # FILE
  click "$1"
  local tries=0
  until grep -qsF "${1##*/}" "$recent"; do
    sleep 0.1
    tries=$((tries + 1))
    [ "$tries" -lt 300 ] || fail "$1 is not shown: $(cat "$folder/said")"
  done
  end_click "$1"
}
shown "$folder/s/notices.mdb"
shown "$folder/s/with blank & sign.mdb"
(cd "$folder/s" && shown notices.mdb)
# Nothing tells from outside that a box is shown; the window stays.
for odd in odd.mdb nowhere.mdb; do
  click "$folder/s/$odd"
  sleep 3
  end_click "$odd"
done
# Without a file, and with a name that would be a word of a command line.
click
sleep 2
end_click "no file"
(cd "$folder" && click Active && sleep 2 && end_click Active)
# More than one is refused; so is what a mistaken desktop file would pass on.
status=0
"$desktop/vntfixdb-open" "$folder/s/notices.mdb" x 2>"$folder/said" || status=$?
[ "$status" -eq 2 ] || fail "Two files are not refused."
unchanged "two files"
