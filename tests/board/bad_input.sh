#!/bin/sh
# The board's programs given what they cannot use: one line on stderr that names it, and no success.
# Usage: bad_input.sh <folder of the board's programs>
set -eu
export LC_ALL=C

programs=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# expect WORD COMMAND...
expect() {
    word=$1
    shift
    if "$@" >"$work/out" 2>"$work/err" </dev/null; then
        echo "succeeded: $*" >&2
        exit 1
    fi
    if [ "$(wc -l <"$work/err")" != 1 ] || ! grep -qF -- "$word" "$work/err"; then
        echo "$* does not say in one line of $word, but:" >&2
        cat "$work/err" >&2
        exit 1
    fi
}

: >"$work/file"
expect usage "$programs/fetch"
expect usage "$programs/fetch" "$work"
expect "$work/file/x" "$programs/fetch" "$work/file/x" busybox-static
expect usage "$programs/build-kernel"
expect "$work/file/x" "$programs/build-kernel" "$work/file/x"
expect usage "$programs/make-sysroot"
expect usage "$programs/stock-kernel"
expect "$work/file/x" "$programs/stock-kernel" "$work/file/x"
expect "$work/none is not there" "$programs/run-board" --kernel "$work/none" --busybox "$work/file" -- true
expect "$work/none is not there" "$programs/run-board" --kernel "$work/file" --busybox "$work/file" --add "$work/none" -- true
expect "no such stage: soup" "$programs/run-stages" --work "$work" --kernel "$work/file" --busybox "$work/file" \
    --plain "$work" --only soup
expect "$work/file" "$programs/run-stages" --work "$work/file" --kernel "$work/file" --busybox "$work/file" --plain "$work"
expect "busybox" "$programs/run-stages" --work "$work/stages" --kernel "$work/file" --busybox "$work/file" --plain "$work"
