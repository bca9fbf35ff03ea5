#!/bin/sh
# The library and the stand-ins, built once more in another folder, are the same bytes, debugging information
# included.
# Usage: reproducible_test.sh <cmake> <generator> <cc> <c++> <source tree> <build tree>
set -eu
export LC_ALL=C

cmake=$1 generator=$2 cc=$3 cxx=$4 source=$5 build=$6
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

{
    "$cmake" -S "$source" -B "$work/again" -G "$generator" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTK_TESTS=OFF -DZTK_EXAMPLES=OFF -DZTK_TOOLS=OFF
    "$cmake" --build "$work/again" -j 2
} >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }

for file in lib/libZTKCommon.so standins/librockit.so standins/libZTKSDKLogC.so; do
    cmp "$build/$file" "$work/again/$file"
    if grep -aF -e "$source" -e "$work" -e "$build" "$work/again/$file" >/dev/null; then
        echo "$file has a path of this machine in it" >&2
        exit 1
    fi
done
