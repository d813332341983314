#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: ./test.sh [ctest options]. Tests against a
# real PostgreSQL server start private ones and stop them again.
set -euo pipefail
. "$(dirname "$0")/scripts/common.sh"

need_packages "${program_packages[@]}" libgtest-dev libgmock-dev binutils valgrind postgresql pkgconf \
  gnuplot-nox sqlite3
build release kelptest # for the tests that need it without sanitizers
build sanitize
cd "$root/build/sanitize"
# Programs that live for a moment: what the sanitizer keeps for longer ones is a third of their time.
export ASAN_OPTIONS=malloc_context_size=5:quarantine_size_mb=8
exec ctest --output-on-failure -j "$((2 * $(nproc)))" "$@" # most of them wait most of the time
