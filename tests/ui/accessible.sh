#!/usr/bin/env bash
# accessible.py on a display and a session bus of its own. A registry of accessible programs that did not find its display
# when it started knows of no window: then once more, with everything new. Usage: accessible.sh XVFB_RUN VNTFixdb vntfix
set -uo pipefail
readonly kNoWindow=75
try() {
  "$1" -a -s "-screen 0 1024x768x24" dbus-run-session -- /usr/bin/python3 "$(dirname "$0")/accessible.py" "$2" "$3"
}
try "$@" && exit
status=$?
[ "$status" -eq "$kNoWindow" ] || exit "$status"
try "$@"
