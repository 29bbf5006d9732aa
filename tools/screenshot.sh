#!/bin/sh
# Writes docs/screenshot.png: the main window as it shows on a virtual display.
# Usage: tools/screenshot.sh [BUILD_FOLDER]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/release}

cmake --build "$build" --target window_screenshot
mkdir -p "$root/docs"
NO_AT_BRIDGE=1 LC_ALL=C.UTF-8 xvfb-run -a -s "-screen 0 1280x900x24" \
  "$build/bin/window_screenshot" "$root/docs/screenshot.png"
