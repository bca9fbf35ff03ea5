#!/bin/sh
# The library's binary interface is the one in the repository: functions, parameters and types, as debugging
# information tells them, of what the public header declares.
# Usage: abi_test.sh check|write <library> <folder of public headers> <baseline> [<folder of debugging information>]
set -eu
export LC_ALL=C

verb=$1 library=$2 headers=$3 baseline=$4 debug=${5:-}
command -v abidw >/dev/null || { echo "NOT TESTED HERE: abigail-tools is not installed"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/headers"
cp "$headers/ztk_common.h" "$work/headers"

abidw --headers-dir "$work/headers" ${debug:+--debug-info-dir "$debug"} --exported-interfaces-only \
    --drop-private-types --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed --no-architecture \
    --type-id-style hash --out-file "$work/abi" "$library"
if [ "$verb" = write ]; then
    cp "$work/abi" "$baseline"
    exit
fi
abidiff "$baseline" "$work/abi" >"$work/report" 2>&1 || {
    cat "$work/report" >&2
    echo "the binary interface differs from $baseline; where that is meant: abi_test.sh write ..." >&2
    exit 1
}
# Without debugging information there would be nothing to compare.
grep -q "<function-decl name='AllocatePoolMemory'" "$work/abi"
