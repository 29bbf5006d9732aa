#!/usr/bin/env bash
# mandoc and groff have nothing to say about the manual pages, and each program and command has one.
# Usage: lint.sh FOLDER_OF_PAGES PATH_OF_vntfix
set -euo pipefail
pages=$1
vntfix=$2
faults=0
fault() {
  echo "$*"
  faults=$((faults + 1))
}
found=0
for page in "$pages"/*/*.1; do
  said=$(mandoc -T lint "$page" 2>&1) || true
  said+=$(MANROFFSEQ='' LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || true
  [ -z "$said" ] || fault "$said"
  found=$((found + 1))
done

commands=$("$vntfix" __complete fish '' | sed '1d; s/\t.*//')
for command in $commands; do
  page=$pages/vntfix/vntfix-$command.1
  [ -f "$page" ] || { fault "There is no page of vntfix $command."; continue; }
  # What --help tells of is there, in its order.
  told=$("$vntfix" "$command" --help | grep -oE '^  (-h, )?--[a-z-]+' | sed 's/^ *//')
  there=$(grep -A1 '^\.TP' "$page" | sed -nE 's/^\\fB(\\-.*)\\fR.*/\1/p' | sed -E 's/\\fR.*//; s/\\-/-/g')
  [ "$told" == "$there" ] || fault "The page of vntfix $command has options"$'\n'"$there"$'\nand --help has\n'"$told"
done
[ "$found" -eq $(($(wc -w <<<"$commands") + 3)) ] || fault "$found pages, for $commands, vntfix, VNTFixdb, vntfixdb-open."
[ "$faults" -eq 0 ]
