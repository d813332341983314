#!/usr/bin/env bash
# Draws the stored samples of points over time:
#
#   scripts/plot.sh [-B TIME] [-E TIME] [-o FILE] STORE POINT...
#
# STORE is a store's file, or a server as psql names it, postgresql://USER@HOST:PORT/DATABASE with
# the password in PGPASSWORD; POINT is a full name, W3.TESTNODE01.POINT00001. The picture goes to
# FILE, which ends in .png or .svg (plot.png). -B and -E limit it to B <= time < E; they take
# YYYYMMDDhhmmss as kelptest does, or what date(1) understands ("5 minutes ago"), in UTC. Samples
# with a status other than 0 are crossed.
set -euo pipefail
. "$(dirname "$0")/common.sh"

usage="usage: $0 [-B TIME] [-E TIME] [-o FILE.png|FILE.svg] STORE POINT..."

# The seconds since 1970 of a time as the options take it.
seconds() {
  local text=$1
  if [[ $1 =~ ^[0-9]{12}([0-9]{2})?$ ]]; then
    text="${1:0:8} ${1:8:2}:${1:10:2}:${1:12:2}"
    text=${text%:}
  fi
  date -u -d "$text" +%s 2>/dev/null || fail "not a time: $1"
}

query_file() { sqlite3 -readonly -separator ' ' -nullvalue NaN "$store" "$1"; }

query_server() { psql -X -q -A -t -w -F ' ' -v ON_ERROR_STOP=1 -d "$store" -c "$1"; }

# What the store answers, one row per line.
query() {
  "$query" "$1" 2>"$folder/errors" || fail "$shown_store: $(head -n 1 "$folder/errors")"
}

# Other packages than these can bring the programs, so it is the programs that are looked for.
open_store() {
  command -v gnuplot >/dev/null || need_packages gnuplot-nox
  shown_store=$store
  case $store in
    postgres://* | postgresql://*)
      query=query_server schema=kelp.
      shown_store=$(sed -E 's,^([^:]*://[^:@/]*):[^@/]*@,\1@,' <<<"$store")
      command -v psql >/dev/null || need_packages postgresql-client
      ;;
    *)
      query=query_file schema=
      store=${store#file:}
      [ -f "$store" ] || fail "there is no file $store"
      command -v sqlite3 >/dev/null || need_packages sqlite3
      ;;
  esac
}

# Writes the samples of a point, as rows of time, status and value, into a file.
fetch() {
  local point=$1 name=${1//\'/\'\'} id
  id=$(query "SELECT id FROM ${schema}object WHERE full_name = '$name' AND kind >= 32")
  [ -n "$id" ] || fail "$shown_store has no point $point"
  query "SELECT time, status, value FROM ${schema}sample
         WHERE point_id = $id AND time >= $begin AND time < $end ORDER BY time" >"$2"
  [ -s "$2" ] || fail "$point has no samples in that time"
}

# The gnuplot program for the points whose samples are in the files 0, 1, ...
picture() {
  local i=0 point curves=()
  for point in "$@"; do
    curves+=("'$folder/$i' using 1:3 with linespoints pt 7 ps 0.3 title '${point//\'/\'\'}'")
    i=$((i + 1))
  done
  if cut -d ' ' -f 2 "$folder"/[0-9]* | grep -qvx 0; then
    sort -n "$folder"/[0-9]* | awk '$2 != 0' >"$folder/crossed"
    curves+=("'$folder/crossed' using 1:3 with points pt 2 lc rgb 'red' title 'status not 0'")
  fi
  cat <<END
set terminal $terminal
set output '$folder/picture'
set xdata time
set timefmt '%s'
set format x "%H:%M:%S\n%Y-%m-%d"
set xlabel 'UTC'
set xtics font ',9'
set rmargin 6
set grid
set key outside top center horizontal noenhanced
plot $(IFS=, && echo "${curves[*]}")
END
}

output=plot.png begin=-2147483648 end=2147483648
while getopts B:E:o: option; do
  case $option in
    B) begin=$(seconds "$OPTARG") ;;
    E) end=$(seconds "$OPTARG") ;;
    o) output=$OPTARG ;;
    *) fail "$usage" ;;
  esac
done
shift $((OPTIND - 1))
[ $# -ge 2 ] || fail "$usage"
store=$1
shift
case $output in
  *.png) terminal="pngcairo size 1000,400" ;;
  *.svg) terminal="svg size 1000,400 dynamic background 'white'" ;;
  *) fail "$output: the picture's name must end in .png or .svg" ;;
esac

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
open_store
i=0
for point in "$@"; do
  fetch "$point" "$folder/$i"
  i=$((i + 1))
done
picture "$@" >"$folder/program"
gnuplot "$folder/program" 2>"$folder/errors" || fail "$(grep -v '^$' "$folder/errors" | tail -n 1)"
cp "$folder/picture" "$output" 2>/dev/null || fail "cannot write $output"
echo "$output"
