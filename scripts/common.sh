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

# Runs a command, and shows what it prints only if it fails.
quietly() {
  local log result=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 || result=$?
  [ $result -eq 0 ] || cat "$log" >&2
  rm -f "$log"
  return $result
}

build_preset() (
  cd "$root" && cmake --preset "$1" && cmake --build --preset "$1" -j "$(nproc)"
)

# Configures and builds a preset into build/NAME.
build() {
  echo "Building build/$1 ..." >&2
  quietly build_preset "$1" || fail "the build failed"
}
