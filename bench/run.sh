#!/usr/bin/env bash
# Builds the release with the measurements and runs them:
#
#   bench/run.sh sqlite [-N10 -X1000]    kelptest over a SQLite file, against the least that it can
#                                        cost and against a naive program
#   bench/run.sh postgres [-N10 -X1000]  over a private PostgreSQL server, against the same least
#   bench/run.sh delay [MS] [-N10 -X100] over that server, with a network between them that takes
#                                        MS (2) milliseconds in each direction
#   bench/run.sh own [-N10 -X10000]      kelptest's own time and memory, over a library that does
#                                        nothing, against a run over a SQLite file
#   bench/run.sh steady                  an hour of calls once a second, in a row, on a store of
#                                        10 million samples: 1000 points, and 400 calls of 100,000
#   bench/run.sh backlog                 calls and queries that meet samples which wait to be merged:
#                                        170,000 beside a million, 4 million, 25 million
#   bench/run.sh scale                   ten times the points, over a SQLite file
#
# ROUNDS (5) is how often each program runs, KELPTEST_BENCH_DIR (/var/tmp) where they store.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/bench
what=${1:-}
shift || true
delay=2
[[ $what != delay || ${1:-} != [0-9]* ]] || { delay=$1; shift; }

finish() {
  if [ -n "${relay:-}" ]; then kill "$relay" || true; fi
  case $what in postgres | delay) server stop || true ;; esac
  rm -rf "$work"
}
server() { KELPTEST_SERVER_DIR=$work/server "$root/scripts/server.sh" "$1" 8299; }
compare() { "$build/bench/compare" "${ROUNDS:-5}" "$@"; }
# kelptest over the real library, or over the stand-in for it of this name.
kelptest() { echo "${1:+env LD_LIBRARY_PATH=$build/bench/lib/$1 }$build/kelptest"; }

case $what in
  sqlite | postgres) size=${*:--N10 -X1000} ;;
  delay) size=${*:--N10 -X100} ;;
  own) size=${*:--N10 -X10000} ;;
  scale | steady | backlog) ;;
  *) sed -n '2,/^set/{/^#/s/^# \{0,1\}//p}' "$0"; exit 2 ;;
esac
(cd "$root" && cmake --preset bench && cmake --build --preset bench -j"$(nproc)") >/dev/null
# Where one is missing, its runs would be those of the real library.
ls "$build"/bench/lib/{null,floor_sqlite,floor_postgres}/libkelpapi2.so >/dev/null

work=$(mktemp -d "${KELPTEST_BENCH_DIR:-/var/tmp}/kelptest-bench-XXXXXX")
chmod 711 "$work"
trap finish EXIT
store=$work/store
fresh="rm -f $store $store-wal $store-shm; sync"
stored=$build/bench/stored
file="$(kelptest) -Hfile:$store"
floor="$(kelptest floor_sqlite) -Hfile:$store"
case $what in
  sqlite) compare "$fresh" "$stored" "kelptest=$file $size" "floor=$floor $size" \
    "plain=$floor -Lplain $size" \
    "plain-defaults=$floor -Lplain,cache_size=-2000,wal_autocheckpoint=1000 $size" ;;
  own) compare "$fresh" : "null=$(kelptest null) $size" "sqlite=$file $size" ;;
  scale) compare "$fresh" "$stored" "X10000=$file -N10 -X10000" "X1000=$file -N10 -X1000" \
    "floorX10000=$floor -N10 -X10000" ;;
  steady)
    for run in "1000 3600" "100000 400"; do
      eval "$fresh"
      eval "$build/bench/steady $store $run"
    done ;;
  backlog)
    for run in "1000 170 samples=1000000" "100000 40" "100000 255"; do
      eval "$fresh"
      eval "$build/bench/backlog $store $run"
    done ;;
  postgres | delay)
    server start
    export PGHOST=127.0.0.1 PGPORT=8299 PGUSER=tov PGPASSWORD=riverbank PGOPTIONS='-c client_min_messages=warning'
    fresh="psql -qXc 'DROP SCHEMA IF EXISTS kelp CASCADE'"
    ;;&
  postgres) compare "$fresh" "$stored" "kelptest=$(kelptest) -C8299 $size" \
    "floor=$(kelptest floor_postgres) -C8299 $size" ;;
  delay)
    "$build/bench/relay" 8298 8299 "$delay" &
    relay=$!
    compare "$fresh" "$stored" "delayed=$(kelptest) -C8298 $size" "direct=$(kelptest) -C8299 $size" \
      "floor-delayed=$(kelptest floor_postgres) -C8298 $size" ;;
esac
