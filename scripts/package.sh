#!/usr/bin/env bash
# Builds the Debian packages kelptest and libkelpapi2-dev into build/package, and checks them with
# lintian. The same commit gives the same bytes, in whatever folder it is built: times are that of
# the commit (or SOURCE_DATE_EPOCH), and no path of this machine gets into a package.
set -euo pipefail
. "$(dirname "$0")/common.sh"

folder=$root/build/package

# With Debian's own flags: hardened, and -ffile-prefix-map for the paths.
build_packages() {
  local compile link
  compile="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
  link=$(dpkg-buildflags --get LDFLAGS)
  cmake -S . -B "$folder" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=None \
    -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
    -DCMAKE_BUILD_WITH_INSTALL_RPATH=ON -DCMAKE_CXX_FLAGS="$compile" \
    -DCMAKE_EXE_LINKER_FLAGS="$link" -DCMAKE_SHARED_LINKER_FLAGS="$link" &&
    cmake --build "$folder" -j "$(nproc)" && (cd "$folder" && cpack)
}

# The folder may be another user's: whoever runs its scripts trusts it.
commit_time() {
  need_packages git
  git -c safe.directory="$root" log -1 --format=%ct ||
    fail "no git commit to take the time from; set SOURCE_DATE_EPOCH"
}

need_packages "${program_packages[@]}" dpkg-dev lintian
cd "$root"
umask 022
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(commit_time)}
export SOURCE_DATE_EPOCH LC_ALL=C TZ=UTC DEB_BUILD_MAINT_OPTIONS=hardening=+all
rm -rf "$folder"
echo "Building the packages in build/package ..." >&2
quietly build_packages || fail "the packages could not be built"
lintian --allow-root --fail-on error "$folder"/*.deb
ls "$folder"/*.deb
