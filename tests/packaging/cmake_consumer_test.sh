#!/bin/sh
# A project of somebody else's finds the installed tree with CMake, links it as C and as C++, and runs; or it builds the
# sources along, under the same names.
# Usage: cmake_consumer_test.sh <cmake> <generator> <cc> <c++> <prefix|--sources SOURCES> <consumer>
set -eu
export LC_ALL=C

cmake=$1 generator=$2 cc=$3 cxx=$4 prefix=$5
shift 5
sources=
if [ "$prefix" = --sources ]; then
    sources=$1
    shift
fi
consumer=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# where the board's own libraries would be, for a program that asks for no stand-ins
board=
[ -n "$sources" ] || board=$(dirname "$(find "$prefix" -name librockit.so)")

configure() {
    "$cmake" -S "$consumer" -B "$work/$1" -G "$generator" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_PREFIX_PATH="$prefix" "-DPARTS=$2" -DSOURCES="$sources" \
        ${board:+-DCMAKE_EXE_LINKER_FLAGS="-Wl,-rpath-link,$board"} >"$work/log" 2>&1
}

if ! configure build "headers;standins" || ! "$cmake" --build "$work/build" --parallel 2 >>"$work/log" 2>&1; then
    cat "$work/log" >&2
    exit 1
fi
for program in consumer_c consumer_cxx consumer_headers; do
    "$work/build/$program"
done
LD_LIBRARY_PATH=$board "$work/build/consumer_board"
[ -z "$sources" ] || exit 0

if "$work/build/consumer_board" 2>"$work/complaint"; then
    echo "ran without the board's libraries: something leads to the stand-ins" >&2
    exit 1
fi
grep -q 'librockit.so: cannot open shared object file' "$work/complaint"

if configure refused nonsense; then
    echo "a component that does not exist was found" >&2
    exit 1
fi
grep -q 'ZTKCommon: no nonsense in' "$work/log"
