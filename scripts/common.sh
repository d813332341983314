# shellcheck shell=bash
# What demo.sh, check.sh and test.sh share: installing Debian packages that are missing, and building. Sourced.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

# What the two programs and the library are built with.
program_packages=(g++ make cmake libsqlite3-dev libpq-dev libcli11-dev nlohmann-json3-dev libpugixml-dev)

# Prints those of the named packages that are not installed.
missing_packages() {
  local package
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      echo "$package"
  done
}

# Installs what is missing of the named packages; touches nothing, and needs no network, otherwise.
need_packages() {
  command -v dpkg-query >/dev/null || fail "this is no Debian machine; needed are: $*"
  local missing as_root=()
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -eq 0 ] && return
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "missing packages; as root: apt-get install ${missing[*]}"
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]} ..." >&2
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
    fail "cannot install ${missing[*]}: $(grep -m1 '^E:' "$log" || tail -n 1 "$log")"
  fi
  rm -f "$log"
}

# Runs a command, and shows what it prints only if it fails.
quietly() {
  local log result=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 || result=$?
  [ $result -eq 0 ] || cat "$log" >&2
  rm -f "$log"
  return $result
}

# Reads what make prints and shows how far it is: on a terminal in one line that changes, elsewhere
# in a line every ten seconds.
show_percentages() {
  local line shown=0
  [ ! -t 2 ] || printf 'Building %s ...' "$1" >&2
  while IFS= read -r line; do
    [[ $line =~ ^\[\ *([0-9]+)%\] ]] || continue
    if [ -t 2 ]; then
      printf '\rBuilding %s ... %3d %% ' "$1" "${BASH_REMATCH[1]}" >&2
    elif [ $((SECONDS - shown)) -ge 10 ]; then
      echo "Building $1 ... ${BASH_REMATCH[1]} %" >&2
      shown=$SECONDS
    fi
  done
  [ ! -t 2 ] || printf '\r%*s\r' $((${#1} + 24)) '' >&2
}

# Configures and builds targets of a preset (all, if none is named) into build/NAME.
build() {
  local name=$1 log result=0
  shift
  log=$(mktemp)
  [ -t 2 ] || echo "Building build/$name ..." >&2
  (cd "$root" && cmake --preset "$name" &&
    cmake --build --preset "$name" -j "$(nproc)" ${1:+--target "$@"}) 2>&1 |
    tee "$log" | show_percentages "build/$name" || result=$?
  [ $result -eq 0 ] || cat "$log" >&2
  rm -f "$log"
  [ $result -eq 0 ] || fail "the build failed"
}
