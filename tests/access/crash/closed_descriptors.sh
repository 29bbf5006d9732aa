#!/bin/bash
# Whatever of standard input, output and error is closed when the program starts, nothing that is printed gets
# into a database, and what should be done is done.
set -u
vntfix=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export VNTFIX_WINDIR="$work"
cd "$work" || exit 1
"$vntfix" sample made --notices 10 > made.txt 2>&1 || exit 1
failures=0
for closed in "" "0<&-" "1>&-" "2>&-" "0<&- 1>&-" "0<&- 2>&-" "1>&- 2>&-" "0<&- 1>&- 2>&-"; do
  for command in "sql x.mdb 'UPDATE notice SET st_cur = 50'" \
                 "sql x.mdb 'NO STATEMENT'" \
                 "sql x.mdb 'SELECT * FROM notice'" \
                 "check x.mdb" "tables x.mdb" "export x.mdb notice" \
                 "fix x.mdb --reference made/reference.mdb --template made/template.mdb" \
                 "new y.mdb"; do
    rm -f x.mdb y.mdb
    cp made/notices.mdb x.mdb
    eval "\"\$vntfix\" $command $closed"
    for file in x.mdb y.mdb; do
      [ -e $file ] || continue
      "$vntfix" check $file > check.txt 2>&1 && [ ! -e $file-vntjournal ] && continue
      echo "damaged: $command $closed" >> failures.txt
      failures=1
    done
    case $command in
      *UPDATE*)
        "$vntfix" sql --csv x.mdb "SELECT COUNT(*) FROM notice WHERE st_cur = '50'" 2>&1 | grep -qx 10 || {
          echo "not done: $command $closed" >> failures.txt
          failures=1
        } ;;
    esac
  done
done > output.txt 2>&1
[ $failures = 0 ] || cat failures.txt
exit $failures
