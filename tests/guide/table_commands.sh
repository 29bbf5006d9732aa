#!/usr/bin/env bash
# The commands of vntfix that a table tells a newcomer to type work, in the order in which they stand there, in a new
# folder and without settings. Usage: table_commands.sh README FOLDER_OF_vntfix
set -euo pipefail
. "$(dirname "$0")/newcomer.sh"

commands=0
while read -r command; do
  echo "\$ $command"
  # In this shell, so that cd lasts.
  eval "$command" >"$folder/out" 2>&1 || { cat "$folder/out"; echo "FAILED: $command"; exit 1; }
  commands=$((commands + 1))
done < <(sed -n 's/^| [^|]* | `\(vntfix [^`]*\)`.*/\1/p' "$readme")
[ "$commands" -ge 5 ] || { echo "FAILED: there are only $commands commands in the table."; exit 1; }
