#!/usr/bin/env bash
# Installs what packages.txt lists and this machine lacks. Needs root (or sudo) only when something is missing.
# Usage: tools/install-packages.sh [windows|packages]; with a word, also what is listed under the heading of that name.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t wanted < <(awk -v with="${1:-}" '/^#/ {skip = /^# [a-z]+:/ && index($0, "# " with ":") != 1} !/^#/ && NF && !skip' packages.txt)
missing=()
for package in "${wanted[@]}"; do
  # Node.js counts as installed when it is there by other means.
  if [[ $package == nodejs || $package == npm ]] && command -v "${package/nodejs/node}" >/dev/null; then continue; fi
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing ${#missing[@]} packages: ${missing[*]}" >&2
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "These packages must be installed by root: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
