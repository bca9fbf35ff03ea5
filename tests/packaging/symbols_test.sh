#!/bin/sh
# The package's list of symbols, by which others find out what they depend on, names just the exports.
# Usage: symbols_test.sh <source tree>
set -eu
export LC_ALL=C

source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sed 's/^/ /; s/$/@Base/' "$source/tests/library/exports.txt" | sort >"$work/wanted"
grep '^ ' "$source/packaging/libztkcommon/symbols" | cut -d' ' -f1,2 | sort | diff -u "$work/wanted" - >&2
