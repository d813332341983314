#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: ./test.sh [ctest options]. Tests against a
# real PostgreSQL server start private ones and stop them again.
set -euo pipefail
. "$(dirname "$0")/scripts/common.sh"

need_packages g++ make cmake libsqlite3-dev libpq-dev libcli11-dev nlohmann-json3-dev \
  libpugixml-dev libgtest-dev binutils valgrind postgresql pkgconf gnuplot-nox sqlite3
build release
build sanitize
cd "$root/build/sanitize"
exec ctest --output-on-failure -j "$((2 * $(nproc)))" "$@" # most of them wait most of the time
