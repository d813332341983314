# shellcheck shell=bash
# What demo.sh and test.sh share: installing Debian packages that are missing, and building. Sourced.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

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

# Configures and builds a preset into build/NAME.
build() {
  local preset=$1 log
  log=$(mktemp)
  echo "Building build/$preset ..." >&2
  if ! (cd "$root" && cmake --preset "$preset" &&
    cmake --build --preset "$preset" -j "$(nproc)") >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    fail "the build failed"
  fi
  rm -f "$log"
}
