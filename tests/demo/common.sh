# shellcheck shell=bash disable=SC2034  # the names are for the tests that read this file
# For the tests of the demo: the arguments that every test gets, and what they share.
set -uo pipefail

run_demo=$1
build=$2
folder=$3
programs=$build/examples
pictures=$(dirname "$run_demo")/pictures

# The library reports foreign folders in /dev/shm, which other tests may have made.
export ZTK_LOG_FILE=/dev/null

rm -rf -- "$folder"
mkdir -p -- "$folder"

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

# expect_in <file> <text>: the text stands in the file.
expect_in() {
    grep -qF -- "$2" "$1" || {
        cat -- "$1" >&2
        fail "$1 does not hold: $2"
    }
}

# Objects in /dev/shm that a process made.
objects_of() {
    find /dev/shm -maxdepth 1 -name "ZTKTool-$1-*"
}

expect_no_objects() {
    local left
    left=$(objects_of "$1")
    [[ -z $left ]] || fail "process $1 left $left"
}
