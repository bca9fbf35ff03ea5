#!/bin/sh
# Runs a command where ARM64 programs can be started by their names, as the tests start them: in user and mount
# namespaces of its own, whose kernel hands such programs to qemu-aarch64-static. Needs no root, and nothing outside
# notices; but a kernel of 6.7 or later, which has a binfmt_misc table for every user namespace.
# Usage: with-binfmt.sh [--or-skip] <command> [<argument>...]
# Where that cannot be had it says why and runs the command all the same; with --or-skip it ends with 77 instead.
set -eu

table=/proc/sys/fs/binfmt_misc
# where the programs find their loader and libraries
export QEMU_LD_PREFIX="${QEMU_LD_PREFIX:-/usr/aarch64-linux-gnu}"

# The head of a 64-bit little-endian ELF file of machine 183: a program or a library, whatever ABI byte it bears. F: the
# interpreter is opened now, so that it is found whatever the tests mount later.
register() {
    magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
    mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
    interpreter=$(command -v qemu-aarch64-static) || { echo "no qemu-aarch64-static" >&2; return 1; }
    mount -t binfmt_misc none "$table" && printf ':arm64:M::%s:%s:%s:F' "$magic" "$mask" "$interpreter" >"$table/register"
}

own_namespace() { readlink /proc/self/ns/user; }

if [ "${1:-}" = --inside ]; then
    shift
    register
    ZTK_BINFMT_TABLE=$(own_namespace)
    export ZTK_BINFMT_TABLE
    exec "$@"
fi

skip=
[ "${1:-}" != --or-skip ] || { skip=77; shift; }

# inside already
if [ "${ZTK_BINFMT_TABLE:-}" = "$(own_namespace)" ]; then exec "$@"; fi

if ! why=$(unshare --user --map-root-user --mount "$0" --inside true 2>&1); then
    echo "NOT TESTED HERE: what starts ARM64 programs; no private binfmt_misc table (kernel 6.7 or later): $why" >&2
    [ -z "$skip" ] || exit "$skip"
    exec "$@"
fi
exec unshare --user --map-root-user --mount "$0" --inside "$@"
