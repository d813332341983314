#!/usr/bin/env bash
# Installs what is missing, builds, and checks a historian: ./check.sh [kelpcheck options]. Where no
# host is given it is a store embedded in build/check.db.
set -euo pipefail
. "$(dirname "$0")/scripts/common.sh"

need_packages "${program_packages[@]}"
build release kelpcheck

host=("-Hfile:$root/build/check.db")
for argument in "$@"; do
  case $argument in
    -H* | --host* | --help | --version | compare | verify) host=() ;;
  esac
done
exec "$root/build/release/kelpcheck" "$@" "${host[@]}"
