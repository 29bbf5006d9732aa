#!/bin/sh
# A PostgreSQL server of its own for tests, with two data sources that stand for the Ingres ones.
#
#   postgres_fixture.sh start FOLDER [PID]
#                                      makes FOLDER: the server's data, odbc.ini and odbcinst.ini (for
#                                      ODBCINI and ODBCSYSINI); FOLDER/port holds the port on 127.0.0.1.
#                                      When the process PID ends without stopping the server, it is stopped
#   postgres_fixture.sh stop FOLDER    stops the server and removes FOLDER
#   postgres_fixture.sh kill FOLDER    stops the server at once, as a crash would; FOLDER stays
#   postgres_fixture.sh resume FOLDER  starts it again, on the same port
#
# Data sources: TLKP-ING (database tlkp) and TLKD-ING (database tlkd). Everybody on this machine may connect
# as postgres, or under the name of the user who starts it in either letter case.
set -eu

action=$1
folder=$2
user=${3:-}

bin=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
driver=$(ls /usr/lib/*/odbc/psqlodbcw.so 2>/dev/null | head -n 1)
[ -n "$bin" ] || { echo "PostgreSQL is not installed (package postgresql-15)." >&2; exit 1; }
[ -n "$driver" ] || { echo "The PostgreSQL ODBC driver is not installed (package odbc-postgresql)." >&2; exit 1; }

# The server refuses to run as root.
as_server() {
  if [ "$(id -u)" = 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}

run_sql() {
  "$bin/psql" -q -v ON_ERROR_STOP=1 -h 127.0.0.1 -p "$port" -U postgres -c "$2" "$1"
}

run_server() {
  as_server "$bin/pg_ctl" -D "$folder/data" -w -t 60 -l "$folder/data/server.log" \
    -o "-h 127.0.0.1 -p $port -k $folder -F -c max_connections=50" start >>"$folder/log" 2>&1
}

start() {
  mkdir -p "$folder"
  [ "$(id -u)" != 0 ] || chown postgres "$folder"
  chmod 755 "$folder"
  as_server "$bin/initdb" -D "$folder/data" -U postgres -A trust -E UTF8 --locale=C.UTF-8 --no-sync >"$folder/log" 2>&1 ||
    { cat "$folder/log" >&2; exit 1; }

  # A port that is taken makes the start fail; then the next one is tried.
  port=$((20000 + ($$ * 7 + $(date +%s)) % 20000))
  tries=0
  until run_server; do
    tries=$((tries + 1))
    [ $tries -lt 20 ] || { cat "$folder/log" "$folder/data/server.log" >&2; exit 1; }
    port=$((port + 1))
  done
  echo "$port" >"$folder/port"

  for name in $(id -un; id -un | tr '[:lower:]' '[:upper:]'; echo NONAME); do
    [ "$name" = postgres ] || run_sql postgres "CREATE ROLE \"$name\" SUPERUSER LOGIN"
  done
  # Functions that the statements' Ingres form uses and this server lacks; every database made from the template
  # has them.
  run_sql template1 "CREATE FUNCTION uppercase(text) RETURNS text LANGUAGE sql IMMUTABLE AS 'SELECT upper(\$1)'"
  run_sql template1 "CREATE FUNCTION lowercase(text) RETURNS text LANGUAGE sql IMMUTABLE AS 'SELECT lower(\$1)'"
  run_sql template1 "CREATE FUNCTION round(double precision, integer) RETURNS double precision LANGUAGE sql IMMUTABLE
    AS 'SELECT round(\$1 * power(10::float8, \$2)) / power(10::float8, \$2)'"
  run_sql template1 "CREATE OPERATOR + (LEFTARG = text, RIGHTARG = text, FUNCTION = textcat)"
  # Texts in quotes give dates day first.
  run_sql postgres "ALTER SYSTEM SET datestyle = 'ISO, DMY'"
  run_sql postgres "SELECT pg_reload_conf()" >/dev/null
  run_sql postgres "CREATE DATABASE tlkp"
  run_sql postgres "CREATE DATABASE tlkd"

  cat >"$folder/odbcinst.ini" <<END
[PostgreSQL for tests]
Driver = $driver
END
  : >"$folder/odbc.ini"
  for name in TLKP TLKD; do
    cat >>"$folder/odbc.ini" <<END
[$name-ING]
Driver = PostgreSQL for tests
Servername = 127.0.0.1
Port = $port
Database = $(echo $name | tr '[:upper:]' '[:lower:]')
BoolsAsChar = 0
MaxVarcharSize = 8000

END
  done
}

halt() {
  [ -d "$folder/data" ] || return 0
  as_server "$bin/pg_ctl" -D "$folder/data" -m immediate -w stop >/dev/null 2>&1 || true
}

case $action in
start)
  start
  [ -z "$user" ] || setsid "$0" guard "$folder" "$user" </dev/null >/dev/null 2>&1 &
  ;;
guard)
  while [ -d "$folder/data" ] && kill -0 "$user" 2>/dev/null; do sleep 2; done
  halt
  rm -rf "$folder"
  ;;
stop)
  halt
  rm -rf "$folder"
  ;;
kill) halt ;;
resume)
  port=$(cat "$folder/port")
  run_server
  ;;
*)
  echo "usage: $0 start|stop|kill|resume FOLDER" >&2
  exit 2
  ;;
esac
