#!/usr/bin/env bash
# What kelpcheck load and compare promise, measured:
#
#   bench/load.sh paces            libraries of known pace in front of the real one, each alone and
#                                  two beside each other
#   bench/load.sh engines          the limits of SQLite and PostgreSQL, beside the same calls without
#                                  a schedule
#   bench/load.sh same [PAIRS]     how many of PAIRS (100) pairs of runs on one server compare as "no
#                                  difference"
#   bench/load.sh slower [PAIRS]   how often an operation that was made twice as slow is noticed,
#                                  where its line says that it would have been
#
# KELPCHECK is the program; the one of this build without it. KELPTEST_BENCH_DIR (/var/tmp) is where
# the stores are. CHECK_OPTIONS are further options of the runs that are compared.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/bench
(cd "$root" && cmake --preset bench && cmake --build build/bench -j2 --target kelpcheck paced) >/dev/null
kelpcheck=${KELPCHECK:-$build/kelpcheck}
paced=$build/bench/libpaced.so
folder=$(mktemp -d "${KELPTEST_BENCH_DIR:-/var/tmp}/load-XXXXXX")
chmod 0711 "$folder" # root runs the server as another user
server=
trap '[ -z "$server" ] || "$root/scripts/server.sh" stop 8207 >/dev/null; rm -rf "$folder"' EXIT
read -ra check_options <<<"${CHECK_OPTIONS:-}"

# paced NAME PACE OPTIONS...: a load before a library of that pace, with files of that name.
paced() {
  local name=$1 pace=$2
  shift 2
  LD_PRELOAD=$paced KELP_PACE=$pace KELP_PACE_FILE=$folder/${pace//:/_}.$name.pace \
    "$kelpcheck" load "-Hfile:$folder/$name.db" -O8 --json "$folder/$name.json" "$@" \
    >"$folder/$name.out" 2>&1 || echo "status $?" >>"$folder/$name.out"
  rm -f "$folder/$name".{db,db-wal,db-shm} "$folder"/*."$name".pace
}

told() { printf '%-22s %s\n' "$1" "$(grep -E '^(MEASURED|FAILED|status|kelpcheck:)' "$folder/$2.out" | tail -1)"; }

paces() {
  local pace options
  for pace in rows:50000 rows:200000 nothing stall:1:5; do
    # By history, which the real library behind takes five times as fast as the highest pace.
    options=(--find-limit --do history)
    [ "$pace" != nothing ] || options=(--find-limit --no-read-back)
    [ "$pace" != stall:1:5 ] || options=(--rate 10000 --for 20s)
    paced alone "$pace" "${options[@]}"
    told "$pace" alone
    paced left "$pace" "${options[@]}" &
    paced right "$pace" "${options[@]}"
    wait
    told "  beside another" left
    told "" right
  done
  paced two rows:200000 --find-limit --do history --sessions 2
  told "rows:200000, 2 sessions" two
  paced careless lose:1000 --rate 50000 --for 3s --points 100
  told "lose:1000" careless
}

engines() {
  local doing host
  export KELPTEST_SERVER_DIR=$folder/server
  "$root/scripts/server.sh" start 8207 >/dev/null
  server=yes
  for host in "file:$folder/engine.db" 127.0.0.1; do
    for doing in write history snap read query mixed; do
      "$kelpcheck" load "-H$host" -C8207 --do "$doing" --find-limit >"$folder/engine.out" 2>&1 || true
      printf '%-12s' "$doing"
      grep '^One call' "$folder/engine.out" | tr '\n' ' '
      told "" engine
    done
  done
}

# One run of the checks, as a report of that name.
check() {
  "$kelpcheck" "-Hfile:$folder/check.db" -O8 --quiet --json "$folder/$1.json" \
    "${check_options[@]}" >"$folder/check.out" 2>&1 || { cat "$folder/check.out"; exit 1; }
  rm -f "$folder"/check.db*
}

same() {
  local pairs=$1 good=0 i
  check 0
  for ((i = 1; i <= pairs; ++i)); do
    check $i
    if "$kelpcheck" compare "$folder/$((i - 1)).json" "$folder/$i.json" --quiet >"$folder/out" &&
      grep -q '^NO DIFFERENCE' "$folder/out"; then
      good=$((good + 1))
    else
      sed "s/^/pair $i: /" "$folder/out"
    fi
  done
  echo "$good of $pairs pairs of runs on the same server compare as no difference"
}

slower() {
  local pairs=$1 promised=0 seen=0 i operation
  local operations=(write_value get_value_byid write_cache get_object_byname get_snap_byid
    write_snap write_histroy_byid)
  for ((i = 1; i <= pairs; ++i)); do
    operation=${operations[i % ${#operations[@]}]}
    check plain
    LD_PRELOAD=$paced KELP_PACE=slow:$operation check slow
    "$kelpcheck" compare "$folder/plain.json" "$folder/slow.json" >"$folder/out" || true
    line=$(grep "kelp2_$operation " "$folder/out")
    # "100 % or more" is twice as slow; what is given in times is more.
    if [[ $line =~ ([0-9]+)\ %\ or\ more ]] || [[ $line =~ (\ 2)\ times\ or\ more ]]; then
      promised=$((promised + 1))
      if grep -q "^  worse  *kelp2_$operation " "$folder/out"; then
        seen=$((seen + 1))
      else
        echo "not seen: $line"
      fi
    else
      echo "not promised: $line"
    fi
  done
  echo "twice as slow: noticed in $seen of $promised, of $pairs pairs, where the line says so"
}

case ${1:-} in
  paces | engines) "$1" ;;
  same | slower) "$1" "${2:-100}" ;;
  *) sed -n '2,15s/^# \{0,1\}//p' "$0"; exit 2 ;;
esac
