#!/bin/sh
# An example ends well and says what its text file says.
# Usage: example_test.sh <program> <expected output>
set -eu
export LC_ALL=C

output=$(mktemp)
trap 'rm -f "$output"' EXIT
"$1" >"$output"
diff -u "$2" "$output" >&2
