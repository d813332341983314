#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole demonstration: ./demo.sh [kelptest options].
# It works on a store embedded in build/demo.db unless an option -H says otherwise, and keeps writing
# until it is stopped.
set -euo pipefail
. "$(dirname "$0")/scripts/common.sh"

need_packages "${program_packages[@]}"
build release kelptest

program=$root/build/release/kelptest
if [ $# -eq 1 ] && [[ $1 == --help* ]]; then
  exec "$program" "$1"
fi
exec "$program" "-Hfile:$root/build/demo.db" "$@"
