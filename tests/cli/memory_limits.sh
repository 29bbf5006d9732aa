#!/bin/sh
# memory_limits.sh VNTFIX: the program under limits of its address space. It says that memory is lacking or does
# its work; it is never ended by a signal, the file stays sound, and `check` finds no fault.
set -u
vntfix=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export VNTFIX_WINDIR="$folder" VNTFIX_CDRIVE="$folder/c"
"$vntfix" sample "$folder/s" --notices 100 > /dev/null || exit 1
failures=0
said=0
fail() {
  echo "$*"
  failures=$((failures + 1))
}
for limit in 12000 14000 16000 18000 20000 22000 24000 26000 28000 30000 32000 34000 36000 38000 40000 42000 45000 \
  60000 80000; do
  # With less than the program itself takes it does not come to its first line.
  (ulimit -v $limit && exec "$vntfix" --version) > "$folder/out" 2> "$folder/err" || continue
  cp "$folder/s/notices.mdb" "$folder/x.mdb"
  (ulimit -v $limit && exec "$vntfix" fix "$folder/x.mdb" --reference "$folder/s/reference.mdb" \
    --template "$folder/s/template.mdb") > "$folder/out" 2> "$folder/err"
  status=$?
  # 127: the loader found no room for the program itself.
  [ $status -le 3 ] || [ $status -eq 127 ] || fail "fix under $limit KiB: exit status $status: $(tail -1 "$folder/err")"
  grep -q "not enough memory" "$folder/err" && said=$((said + 1))
  if ! "$vntfix" check "$folder/x.mdb" > "$folder/out" 2>&1; then
    fail "after fix under $limit KiB: $(head -3 "$folder/out")"
  fi
  (ulimit -v $limit && exec "$vntfix" check "$folder/s/notices.mdb") > "$folder/out" 2> "$folder/err"
  status=$?
  [ $status -eq 0 ] || [ $status -eq 3 ] || [ $status -eq 127 ] \
    || fail "check under $limit KiB: exit status $status: $(head -3 "$folder/out")"
done
echo "$said of 19 runs said that memory is lacking."
[ $failures -eq 0 ]
