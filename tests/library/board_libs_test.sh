#!/bin/sh
# The library built against other folders than the stand-ins', as for a board.
# Usage: board_libs_test.sh <links|missing> <cmake> <generator> <C compiler> <C++ compiler> <source tree>
#                           <toolchain file or -> <folder with librockit.so and libZTKSDKLogC.so>
#                           [<host program> <readelf>]
set -eu
export LC_ALL=C

what=$1 cmake=$2 generator=$3 cc=$4 cxx=$5 source=$6 toolchain=$7 board=$8 host=${9:-} readelf=${10:-}
[ "$toolchain" != - ] || toolchain=
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    cat "$work/log" >&2
    exit 1
}

configure() {
    "$cmake" -S "$source" -B "$work/build" -G "$generator" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
        ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} -DCMAKE_BUILD_TYPE=None -DZTK_BOARD_LIBS="$1" \
        -DZTK_TESTS=OFF -DZTK_EXAMPLES=OFF -DZTK_TOOLS=OFF >"$work/log" 2>&1
}

check_links() {
    configure "$board" || fail "cannot configure"
    "$cmake" --build "$work/build" --parallel 2 >"$work/log" 2>&1 || fail "cannot build"
    find "$work/build" -name 'librockit*' -o -name 'libZTKSDKLogC*' >"$work/log"
    [ ! -s "$work/log" ] || fail "stand-ins were built:"
    library=$work/build/lib/libZTKCommon.so
    here=$(dirname "$0")
    "$here/elf_test.sh" exports "$readelf" "$library" "$here/exports.txt"
    "$here/elf_test.sh" dynamic_section "$readelf" "$library"
    "$here/elf_test.sh" no_path "$readelf" "$library"
    LD_LIBRARY_PATH=$board "$host" "$library" once own
}

# One error, and it names the library that is missing and the folder.
check_missing() {
    for missing in librockit.so libZTKSDKLogC.so; do
        rm -rf "$work/board" "$work/build"
        mkdir "$work/board"
        for library in librockit.so libZTKSDKLogC.so; do
            [ "$library" = "$missing" ] || cp "$board/$library" "$work/board/"
        done
        ! configure "$work/board" || fail "configured without $missing"
        [ "$(grep -c 'CMake Error' "$work/log")" = 1 ] || fail "not one error:"
        tr -s '\n ' ' ' <"$work/log" | grep -qF "no $missing in $work/board" || fail "$missing is not named:"
    done
}

"check_$what"
