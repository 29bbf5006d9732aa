#!/usr/bin/env bash
# run.sh VNTFIX MODULES: writes files in every format and lets the independent readers judge them; where
# ACCESS_SAMPLES is set, also the files that Access wrote, as they are and after changes to every table.
set -euo pipefail
vntfix=$1
modules=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

files=()
for format in jet4 ace12 ace14; do
  extension=accdb
  [ $format = jet4 ] && extension=mdb
  "$vntfix" new "$work/types-$format.$extension" --format $format
  "$vntfix" sql "$work/types-$format.$extension" <"$here/all_types.sql" 2>/dev/null
  "$vntfix" check "$work/types-$format.$extension"
  "$vntfix" sample "$work/$format" --notices 20 --seed 7 --format $format >/dev/null
  "$vntfix" fix "$work/$format/notices.$extension" --reference "$work/$format/reference.$extension" \
    --template "$work/$format/template.$extension" --data-level -1 --all >/dev/null
  "$vntfix" check "$work/$format/notices.$extension"
  files+=("$work/types-$format.$extension" "$work/$format/notices.$extension" "$work/$format/reference.$extension")
  for name in types-$format $format/notices; do
    cp "$work/$name.$extension" "$work/$name-dense.$extension"
    "$vntfix" compact "$work/$name-dense.$extension" >/dev/null
    files+=("$work/$name-dense.$extension")
  done
done
if [ -n "${ACCESS_SAMPLES:-}" ]; then
  files+=("$ACCESS_SAMPLES"/{jet3,jet4,ace12,ace14,hard}/*.*db)
  mkdir "$work/changed"
  node "$here/change_samples.mjs" "$vntfix" "$ACCESS_SAMPLES" "$work/changed" >/dev/null
  files+=("$work"/changed/*)
fi
node "$here/compare_readers.mjs" "$vntfix" "$modules" "${files[@]}"
