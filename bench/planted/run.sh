#!/usr/bin/env bash
# Runs kelpcheck before planted servers, two side by side, each with a fresh store, and prints what
# it said of each and the totals:
#
#   bench/planted/run.sh [NAME...]    those of planted.txt with these names; all without one
#
# KELPCHECK_OPTIONS are further options of kelpcheck. KELPCHECK is the program; the one of this build
# without it. KELPTEST_BENCH_DIR (/var/tmp) is where the stores are, PLANTED_SECONDS (300) how long
# one run may take, PLANTED_RESULTS a folder that keeps every output and report.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=$root/build/bench
targets=(planted)
[ -n "${KELPCHECK:-}" ] || targets+=(kelpcheck)
export KELPCHECK=${KELPCHECK:-$build/kelpcheck} KELPCHECK_OPTIONS=${KELPCHECK_OPTIONS:-}
export PLANTED_LIBRARY=$build/bench/lib/planted PLANTED_SECONDS=${PLANTED_SECONDS:-300}
table() { grep -v '^#' "$here/planted.txt"; }

# One run: leaves NAME.out, NAME.json and NAME.status in the folder of results.
run_one() {
  local name=$1 folder=$2 options=() status=0
  read -ra options <<<"$KELPCHECK_OPTIONS"
  [ "$name" != another_database_name ] || options+=(-DPLANT)
  KELP_PLANTED=$name KELP_PLANTED_STATE=$folder/$name.state LD_LIBRARY_PATH=$PLANTED_LIBRARY \
    timeout "$PLANTED_SECONDS" "$KELPCHECK" "-Hfile:$folder/$name.db" \
    --json "$folder/$name.json" "${options[@]}" >"$folder/$name.out" 2>&1 || status=$?
  echo "$status" >"$folder/$name.status"
  rm -f "$folder/$name".{db,db-wal,db-shm,state,state.marks}
}
export -f run_one

# What an output says first of what did not pass, or of habits.
remark() {
  local line
  line=$(grep -m1 -E '^(failed|unknown|FAILED|UNKNOWN) ' "$1" | cut -c1-90) ||
    line=$(grep -m1 -iE 'unusual|habit' "$1" | cut -c1-90) || true
  echo "$line"
}

outcome() {
  local kind=$1 status=$2 habit=$3
  case $kind,$status,$habit in
    honest,0,) echo passed ;;
    honest,0,*) echo habit ;;
    honest,4,*) echo UNKNOWN ;;
    honest,*) echo FAILED ;;
    faulty,1,*) echo found ;;
    faulty,0,) echo unseen ;;
    faulty,0,*) echo habit ;;
    *) echo "status $status" ;;
  esac
}

(cd "$root" && cmake --preset bench && cmake --build build/bench -j2 --target "${targets[@]}") >/dev/null
results=${PLANTED_RESULTS:-$(mktemp -d "${KELPTEST_BENCH_DIR:-/var/tmp}/planted-XXXXXX")}
mkdir -p "$results"
[ -n "${PLANTED_RESULTS:-}" ] || trap 'rm -rf "$results"' EXIT
names=("$@")
[ $# -gt 0 ] || mapfile -t names < <(table | cut -d'|' -f1 | tr -d ' ')
for name in "${names[@]}"; do
  table | grep "^$name *|" >/dev/null || { echo "planted.txt has no $name" >&2; exit 2; }
done
printf '%s\n' "${names[@]}" | xargs -P2 -I{} bash -c 'run_one "$1" "$2"' _ {} "$results"

declare -A totals=()
for name in "${names[@]}"; do
  kind=$(table | grep "^$name *|" | cut -d'|' -f2 | tr -d ' ')
  status=$(cat "$results/$name.status")
  said=$(remark "$results/$name.out")
  result=$(outcome "$kind" "$status" "$said")
  totals[$kind $result]=$((${totals[$kind $result]:-0} + 1))
  printf '%-36s %-7s %-8s %3s  %s\n' "$name" "$kind" "$result" "$status" "$said"
done
echo
printf 'faulty: %d found, %d shown as an unusual habit, %d unseen\n' "${totals[faulty found]:-0}" \
  "${totals[faulty habit]:-0}" "${totals[faulty unseen]:-0}"
printf 'honest: %d passed, %d passed with unusual habits, %d FAILED, %d UNKNOWN\n' \
  "${totals[honest passed]:-0}" "${totals[honest habit]:-0}" "${totals[honest FAILED]:-0}" \
  "${totals[honest UNKNOWN]:-0}"
for key in "${!totals[@]}"; do
  [[ $key != *status* ]] || echo "${key/status/with exit status}: ${totals[$key]}"
done
