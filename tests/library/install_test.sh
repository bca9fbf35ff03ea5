#!/bin/sh
# Installs into a folder of its own: what is there afterwards, and that it works.
# Usage: install_test.sh <cmake> <readelf> <build tree> <libdir> <includedir> <host program>
set -eu
export LC_ALL=C

cmake=$1 readelf=$2 build=$3 libdir=$4 includedir=$5 host=$6
here=$(dirname "$0")
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

for component in runtime dev; do
    "$cmake" --install "$build" --prefix "$prefix/usr" --component "$component" >"$prefix/log" ||
        { cat "$prefix/log" >&2; exit 1; }
done

sed -e "s|@LIBDIR@|$libdir|" -e "s|@INCLUDEDIR@|$includedir|" "$here/installed.txt" | sort >"$prefix/wanted"
(cd "$prefix/usr" && find . ! -type d | sed 's|^\./||' | sort) | diff -u "$prefix/wanted" - >&2 ||
    { echo "what is installed differs from installed.txt" >&2; exit 1; }

library=$prefix/usr/$libdir/libZTKCommon.so
for check in dynamic_section no_path; do
    "$here/elf_test.sh" "$check" "$readelf" "$library"
done
"$here/elf_test.sh" exports "$readelf" "$library" "$here/exports.txt"

# Where the board has its libraries in the loader's own folders, this has the stand-ins.
LD_LIBRARY_PATH=$build/standins "$host" "$library" once standin
