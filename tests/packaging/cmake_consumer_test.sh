#!/bin/sh
# A project of somebody else's finds the installed tree with CMake, links it as C and as C++, and runs.
# Usage: cmake_consumer_test.sh <cmake> <generator> <cc> <c++> <prefix> <consumer>
set -eu
export LC_ALL=C

cmake=$1 generator=$2 cc=$3 cxx=$4 prefix=$5 consumer=$6
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

configure() {
    "$cmake" -S "$consumer" -B "$work/$1" -G "$generator" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_PREFIX_PATH="$prefix" "-DPARTS=$2" >"$work/log" 2>&1
}

if ! configure build "headers;standins" || ! "$cmake" --build "$work/build" >>"$work/log" 2>&1; then
    cat "$work/log" >&2
    exit 1
fi
for program in consumer_c consumer_cxx consumer_headers; do
    "$work/build/$program"
done

if configure refused nonsense; then
    echo "a component that does not exist was found" >&2
    exit 1
fi
grep -q 'ZTKCommon: no nonsense in' "$work/log"
