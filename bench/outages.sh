#!/usr/bin/env bash
# Outages and watches that take minutes and hours.
#   bench/outages.sh drills              servers that freeze and fail over, a hundred kills of a watch
#   bench/outages.sh watch POINTS TIME   a watch of a new store: memory, punctuality, reading back
#   bench/outages.sh late JOURNAL        how late the calls of a journal began
#   bench/outages.sh verify POINTS SECONDS [lossy]   reads back a watch that never took place
set -euo pipefail
cd "$(dirname "$0")/.."

# Of each call, the time between its second and its begin; the shares that people ask for.
late() {
  awk -F'[:,}]' '
    /^\{"first"/ { first = $2 }
    /^\{"done"/ { printf "%.4f\n", $4 - first - $2 }' "$1" | sort -n | awk '
    { late[NR] = $1; if ($1 <= 0.05) punctual++ }
    END { printf "%d calls, %.2f %% within 50 ms; median %.1f ms, 99 %% %.1f ms, longest %.1f ms\n",
          NR, 100 * punctual / NR, 1000 * late[int(NR * 0.5) + 1], 1000 * late[int(NR * 0.99)],
          1000 * late[NR] }'
}

# The largest memory of a process and its children, in kilobytes each.
peaks() {
  local process
  for process in "$1" $(pgrep -P "$1"); do
    awk '/^VmHWM/ { printf "%s ", $2 }' "/proc/$process/status" 2>/dev/null || true
  done
}

watch() {
  cmake --preset release >/dev/null
  cmake --build build/release --target kelpcheck >/dev/null
  local folder memory=""
  folder=$(mktemp -d)
  build/release/kelpcheck watch -Hfile:"$folder/store" --journal "$folder/journal" \
    --points "$1" --for "$2" --html "$folder/page.html" >"$folder/said" &
  local pid=$!
  while kill -0 "$pid" 2>/dev/null; do
    memory=$(peaks "$pid")
    [ -z "$memory" ] || echo "$memory" >"$folder/memory"
    sleep 5
  done
  wait "$pid" || echo "status $?"
  echo "memory of watch and children, kB: $(cat "$folder/memory")"
  late "$folder/journal"
  tail -8 "$folder/said"
  echo "store, journal and page: $folder"
}

# Fills a store as a watch would have, and verifies it.
verify() {
  local folder
  folder=$(mktemp -d)
  cmake --preset bench >/dev/null
  cmake --build build/bench --target kelpcheck invented_watch >/dev/null
  build/bench/bench/invented_watch "file:$folder/store" "$1" "$2" "$folder/journal" "${3:-}"
  build/bench/kelpcheck verify "$folder/journal" --html "$folder/page.html" || echo "status $?"
  echo "store, journal and page: $folder"
}

drills() {
  cmake --preset sanitize >/dev/null
  cmake --build build/sanitize --target outage_drills >/dev/null
  build/sanitize/tests/watch/outage_drills "$@"
}

mode=${1:-drills}
shift || true
case $mode in
  drills | watch | late | verify) "$mode" "$@" ;;
  *) sed -n '2,7s/^# *//p' "$0" >&2; exit 2 ;;
esac
