#!/bin/sh
# run-example.sh <expected-output> <program> [arguments]: the program succeeds and prints exactly what the guide
# shows. It has a /dev/shm of its own: others that load the library meanwhile would sweep what it leaves there.
set -eu
if [ "${1:-}" != --inside ]; then
    user=$([ "$(id -u)" = 0 ] || echo --map-root-user)
    # shellcheck disable=SC2086 # nothing or one word
    if ! unshare $user --mount true 2>/dev/null; then
        echo "NOT TESTED HERE: this kernel refuses a mount namespace"
        exit 77
    fi
    # shellcheck disable=SC2086
    exec unshare $user --mount "$0" --inside "$@"
fi
expected=$2
shift 2
mount -t tmpfs none /dev/shm
printed=$(mktemp /dev/shm/printed.XXXXXX)
ZTK_LOG_FILE=/dev/null "$@" >"$printed" || {
    status=$?
    cat "$printed"
    echo "FAILED: $1 ended with $status"
    exit 1
}
diff -u "$expected" "$printed" || {
    echo "FAILED: the guide shows another output ($expected)"
    exit 1
}
left=$(find /dev/shm -name 'ZTKTool-*')
[ -z "$left" ] || {
    echo "FAILED: it left $left"
    exit 1
}
