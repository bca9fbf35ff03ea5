#!/bin/sh
# with-binfmt.sh on a kernel that gives no table: that is said, and skipped only where it is asked for.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '#!/bin/sh\necho "unshare: not here" >&2\nexit 1\n' >"$work/unshare"
chmod +x "$work/unshare"
PATH=$work:$PATH
unset ZTK_BINFMT_TABLE

# expect STATUS OUTPUT ARGUMENTS...
expect() {
    status=$1 output=$2 ended=0
    shift 2
    "$here/with-binfmt.sh" "$@" >"$work/out" 2>"$work/err" || ended=$?
    if [ "$ended" != "$status" ] || [ "$(cat "$work/out")" != "$output" ] ||
        ! grep -q '^NOT TESTED HERE: .*unshare: not here$' "$work/err"; then
        echo "with-binfmt.sh $* ended with $ended and said:" >&2
        cat "$work/out" "$work/err" >&2
        exit 1
    fi
}

expect 77 "" --or-skip echo ran
expect 0 ran echo ran
expect 3 "" sh -c 'exit 3'
