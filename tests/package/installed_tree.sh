#!/usr/bin/env bash
# The tree that `cmake --install` makes, moved elsewhere: its program runs, and the example builds
# against it with pkg-config and with CMake and runs, over the bundled library or the one that
# LD_LIBRARY_PATH names: installed_tree.sh SOURCE BUILD
set -euo pipefail
source=$1
build=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'echo "line $LINENO failed: $BASH_COMMAND" >&2' ERR
cd "$folder"

expect_file() {
  [ -f "$tree/$1" ] || { echo "not installed: $1" >&2 && return 1; }
}

# Prints what a command shows on the bundled library, once the other one was seen to come first.
over_both_libraries() {
  if LD_LIBRARY_PATH=$folder/other "$@" >/dev/null 2>other.log; then return 1; fi
  grep -q "undefined symbol: kelp2_" other.log || { cat other.log >&2 && return 1; }
  "$@" 2>&1
}

# Any library of this name stands in for the bundled one; this one has no operations.
mkdir other
cc -shared -x c -o other/libkelpapi2.so - </dev/null

cmake --install "$build" --prefix "$folder/first place" >/dev/null
mv "first place" "second place"
tree="$folder/second place"
libraries=$(dirname "$(dirname "$(find "$tree" -name libkelpapi2.so)")")
for file in share/kelptest/partition.sql share/man/man1/kelptest.1 share/man/man3/kelpapi2.3 \
  share/doc/kelptest/{README.md,LICENSE} include/kelpapi2.h; do
  expect_file "$file"
done

# A library in the vendor's folder comes before the bundled one.
mkdir "$libraries/kelptest/vendor"
cp other/libkelpapi2.so "$libraries/kelptest/vendor"
if "$tree/bin/kelptest" >/dev/null 2>vendor.log; then exit 1; fi
grep -q "undefined symbol: kelp2_" vendor.log
rm -r "$libraries/kelptest/vendor"

# Nothing can be stored in this folder, so the run ends at its first demonstration.
over_both_libraries "$tree/bin/kelptest" "-Hfile:$folder/none/store" | grep -q "connect error!"

cat >expected <<'END'
minute  0  min 20.000  max 20.983  mean 20.492
minute 10  min 21.000  max 21.983  mean 21.492
minute 20  min 22.000  max 22.983  mean 22.492
minute 30  min 23.000  max 23.983  mean 23.492
minute 40  min 24.000  max 24.983  mean 24.492
minute 50  min 25.000  max 25.983  mean 25.492
END
run_example() {
  over_both_libraries "$1" file:store.db | diff expected -
}

cp -r "$source/examples" with_make
PKG_CONFIG_PATH="$libraries/pkgconfig" CFLAGS="-std=c11 -Wall -Werror" make -s -C with_make
run_example with_make/hour_statistics
if with_make/hour_statistics 2>usage.log; then exit 1; fi
diff usage.log - <<<"usage: hour_statistics HOST"

cmake -S "$source/examples" -B with_cmake "-DCMAKE_PREFIX_PATH=$tree" >/dev/null
cmake --build with_cmake >/dev/null
run_example with_cmake/hour_statistics # on the store of the first run

# Both run where there is only what programs need.
rm -r "second place"
cmake --install "$build" --prefix "$tree" --component kelptest >/dev/null
[ ! -e "$tree/include" ]
run_example with_make/hour_statistics
run_example with_cmake/hour_statistics
