#!/bin/sh
# Makes, from a build tree: <made>/packages/*.deb; <made>/staged, the tree as `cmake --install` puts it; and
# <made>/unpacked, the tree that the packages hold together.
# Usage: make_packages.sh <cmake> <cpack> <build tree> <made>
set -eu
export LC_ALL=C SOURCE_DATE_EPOCH=1700000000

cmake=$1 cpack=$2 build=$3 made=$4
rm -rf "$made"
mkdir -p "$made/packages" "$made/staged" "$made/unpacked"

# quickly packed: what is shipped is smaller
"$cpack" --config "$build/CPackConfig.cmake" -B "$made/cpack" -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip >"$made/cpack.log" 2>&1 ||
    { cat "$made/cpack.log" >&2; exit 1; }
mv "$made"/cpack/*.deb "$made/packages/"
rm -rf "$made/cpack"
for package in "$made"/packages/*.deb; do
    dpkg-deb -x "$package" "$made/unpacked"
done

# Everything but the tests, which are not installed: the components that there are packages of.
for component in runtime dev standins tools python; do
    "$cmake" --install "$build" --prefix "$made/staged/usr" --component "$component" >"$made/install.log" ||
        { cat "$made/install.log" >&2; exit 1; }
done
