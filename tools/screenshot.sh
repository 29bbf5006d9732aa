#!/bin/sh
# Writes docs/screenshot*.png: the windows as they show on a virtual display.
# Needs scrot. Usage: tools/screenshot.sh [BUILD_FOLDER]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/release}
settings=$(mktemp -d)
trap 'rm -rf "$settings"' EXIT

cmake --build "$build" --target window_screenshot
mkdir -p "$root/docs"
NO_AT_BRIDGE=1 LC_ALL=C.UTF-8 XDG_CONFIG_HOME="$settings" xvfb-run -a -s "-screen 0 1280x900x24" \
  "$build/bin/window_screenshot" "$root/docs"
