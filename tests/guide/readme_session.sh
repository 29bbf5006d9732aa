#!/usr/bin/env bash
# What the README shows of a terminal is what happens: its commands, run in a new folder, print what stands below
# them. Times, names of backups and the folder may differ. Usage: readme_session.sh README FOLDER_OF_vntfix
set -euo pipefail
. "$(dirname "$0")/newcomer.sh"

sed -n '/^```console$/,/^```$/{/^```/d;p}' "$readme" >"$folder.told"
trap 'rm -rf "$folder" "$folder.told" "$folder.seen"' EXIT
grep -c '^\$ ' "$folder.told" >/dev/null || { echo "The README shows no commands."; exit 1; }
while read -r line; do
  printf '%s\n' "$line"
  # In this shell, so that cd lasts. Whether a command succeeds shows in what it prints.
  eval "${line#\$ }" 2>&1 || true
done < <(grep '^\$ ' "$folder.told") >"$folder.seen"

alike() {
  sed -E 's/ +[0-9]+\.[0-9]+ s/ TIME/; s/[0-9]{8}-[0-9]{6}(-[0-9]+)?\.bak/STAMP.bak/; s#[^ ]*/try/#try/#' "$1"
}
diff <(alike "$folder.told") <(alike "$folder.seen")
