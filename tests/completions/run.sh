#!/usr/bin/env bash
# Lines as users type them, completed by bash, zsh and fish themselves.
# Usage: run.sh PATH_OF_vntfix FOLDER_OF_COMPLETIONS
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
completions=$2
PATH=$(dirname "$1"):$PATH
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export HOME=$folder XDG_CONFIG_HOME=$folder/config XDG_DATA_HOME=$folder/data
mkdir "$folder/work"
cd "$folder/work"
vntfix new a.mdb
vntfix sql a.mdb "create table notice (a long)" "create table [two words] (a long)" 2>"$folder/made"
cp a.mdb "my data.ACCDB"
touch text.txt
mkdir "sub folder"
sums=$(sha256sum *.*)

# The line, and what is offered for it, sorted; of --option=value the value.
cases=(
  'vntfix un' 'undo'
  'vntfix --v' '--version'
  'vntfix undo --' '--backup-folder|--force|--from|--help|--list'
  'vntfix undo a.mdb --from te' 'text.txt'
  'vntfix help un' 'undo'
  'vntfix diff --only-counts --no' '--notice'
  'vntfix fix a.mdb --only 7 --e' ''
  'vntfix diff x y --format ' 'csv|json|text'
  'vntfix diff x y --format=c' 'csv'
  'vntfix new x --format ac' 'ace12|ace14'
  'vntfix fix ' 'a.mdb|my data.ACCDB|sub folder'
  'vntfix fix a.mdb --reference=' 'a.mdb|my data.ACCDB|sub folder'
  'vntfix fix a.mdb --report te' 'text.txt'
  'vntfix sample ' 'sub folder'
  'vntfix undo my' 'my data.ACCDB'
  'vntfix list 3' '3|30|31|32|33|34|35|36|37|38|39'
  'vntfix fix a.mdb --only 7,2' '7,2|7,20|7,21|7,22|7,23|7,24|7,25|7,26|7,27|7,28|7,29'
  'vntfix fix a.mdb --only Sor' 'Sort Coordination by Administration|Sort Frequencies|Sort TR Provn by Administration'
  'vntfix fix a.mdb --except 7,sort\ f' '7,Sort Frequencies'
  'vntfix fix a.mdb --only "7,sort t' '7,Sort TR Provn by Administration'
  'vntfix export a.mdb ' 'notice|two words'
  'vntfix export ~/work/a.mdb n' 'notice'
  'vntfix schema my\ data.ACCDB NO' 'notice'
  'vntfix diff a.mdb "my data.ACCDB" --table notice,' 'notice,notice|notice,two words'
  'vntfix export text.txt ' ''
  'vntfix export nowhere.mdb ' ''
  'vntfix export "$(touch run-by-a-tab)" ' ''
  'vntfix frobnicate ' ''
)
# What the tab leaves on the line, where quotes have to be right for the program to get the word.
completed=(
  'vntfix un' 'vntfix undo '
  'vntfix undo my' 'vntfix undo my\ data.ACCDB '
  'vntfix export a.mdb tw' 'vntfix export a.mdb two\ words '
  'vntfix fix a.mdb --only "7,sort t' 'vntfix fix a.mdb --only "7,Sort TR Provn by Administration" '
  'vntfix fix a.mdb --only set\ freq' 'vntfix fix a.mdb --only Set\ freq\ min\ and\ max\ \(beam\ and\ grp\) '
  'vntfix diff x y --format=j' 'vntfix diff x y --format=json '
)

offered_by() { # SHELL LINE...
  local shell=$1 line
  shift
  if [ "$shell" != fish ]; then
    timeout 120 zsh -f "$here/typed.zsh" "$shell" "$completions" "$@"
    return
  fi
  for line; do
    echo "== $line"
    fish --no-config -c 'source $argv[1]/vntfix.fish; complete --do-complete $argv[2]' "$completions" "$line" |
      sed 's/\t.*//; s|/$||'
  done
}

lines=()
for ((i = 0; i < ${#cases[@]}; i += 2)); do lines+=("${cases[i]}"); done
lines_to_complete=()
for ((i = 0; i < ${#completed[@]}; i += 2)); do lines_to_complete+=("${completed[i]}"); done
faults=0
expect() { # SHELL LINE WANTED SEEN
  [ "$3" == "$4" ] && return
  printf '%s, "%s":\n  expected %s\n  offered  %s\n' "$1" "$2" "$3" "$4"
  faults=$((faults + 1))
}
for shell in bash zsh fish; do
  offered_by "$shell" "${lines[@]}" >"$folder/answers"
  for ((i = 0; i < ${#cases[@]}; i += 2)); do
    line=${cases[i]}
    offered=$(line=$line awk '/^== / {mine = $0 == "== " ENVIRON["line"]; next} mine && !/^-> /' "$folder/answers" |
      sed 's/^--[a-z-]*=//' | LC_ALL=C sort -u | paste -sd '|')
    expect "$shell" "$line" "$(tr '|' '\n' <<<"${cases[i + 1]}" | LC_ALL=C sort | paste -sd '|')" "$offered"
  done
done
for shell in bash zsh; do
  offered_by "$shell" "${lines_to_complete[@]}" >"$folder/answers"
  for ((i = 0; i < ${#completed[@]}; i += 2)); do
    line=${completed[i]}
    expect "$shell" "$line" "-> ${completed[i + 1]}" \
      "$(line=$line awk '/^== / {mine = $0 == "== " ENVIRON["line"]; next} mine && /^-> /' "$folder/answers")"
  done
done

# A tab runs nothing that stands on the line, and changes no file.
if [ "$(sha256sum *.*)" != "$sums" ] || [ "$(ls | wc -l)" -ne 4 ]; then
  echo "A completion has changed files:"
  ls -la
  faults=$((faults + 1))
fi
[ "$faults" -eq 0 ]
