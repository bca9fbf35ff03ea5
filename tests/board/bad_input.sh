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
cd "$work"
expect usage "$programs/fetch"
expect usage "$programs/fetch" "$work"
expect "$work/file/x" "$programs/fetch" "$work/file/x" busybox-static
expect usage "$programs/build-kernel"
expect "$work/file/x" "$programs/build-kernel" "$work/file/x"
expect usage "$programs/make-sysroot"
expect usage "$programs/stock-kernel"
expect "$work/file/x" "$programs/stock-kernel" "$work/file/x"
for program in fetch build-kernel stock-kernel make-sysroot; do
    expect usage "$programs/$program" --help
    expect usage "$programs/$program" --help x
done
mkdir "$work/kept"
expect "there already" "$programs/make-sysroot" "$work" "$work/kept"
[ -d "$work/kept" ] && [ ! -e "$work/--help" ]
expect "$work/none is not there" "$programs/run-board" --kernel "$work/none" --busybox "$work/file" -- true
expect "$work/none is not there" "$programs/run-board" --kernel "$work/file" --busybox "$work/file" --add "$work/none" -- true
expect "no such stage: soup" "$programs/run-stages" --work "$work" --kernel "$work/file" --busybox "$work/file" \
    --plain "$work" --only soup
expect "$work/file" "$programs/run-stages" --work "$work/file" --kernel "$work/file" --busybox "$work/file" --plain "$work"
expect "BOARD_SEED" env BOARD_SEED=abc "$programs/run-stages" --work "$work/stages" --kernel "$work/file" \
    --busybox "$work/file" --plain "$work"
expect "busybox" "$programs/run-stages" --work "$work/stages" --kernel "$work/file" --busybox "$work/file" --plain "$work"
expect dpkg-deb "$programs/run-board" --kernel "$work/file" --busybox "$work/file" -- true

# Two at once.
mkdir "$work/busy"
exec 8>"$work/busy/lock"
flock 8
expect "another run" "$programs/run-stages" --work "$work/busy" --kernel "$work/file" --busybox "$work/file" --plain "$work"
timeout 1 "$programs/fetch" "$work/busy" busybox-static && ended=0 || ended=$?
[ "$ended" = 124 ] || { echo "fetch did not wait for another one" >&2; exit 1; }
exec 8>&-

# Servers that have nothing, that cannot be reached, that have no package in what they give.
stub() {
    printf '#!/bin/sh\n%s\n' "$2" >"$work/stubs/$1"
    chmod +x "$work/stubs/$1"
}
mkdir "$work/stubs"
PATH=$work/stubs:$PATH
stub apt-get true
stub apt-cache "exit 100"
expect "no package soup" "$programs/fetch" "$work/packages" soup
expect "no package soup" "$programs/fetch" --version "$work/packages" soup
expect "no package linux-source" "$programs/build-kernel" "$work/kernels"
expect "no package linux-image" "$programs/stock-kernel" "$work/kernels"
expect "no package libc6" "$programs/make-sysroot" "$work" "$work/root"
stub apt-get "exit 100"
expect "update failed" "$programs/fetch" "$work/none-yet" soup
stub apt-cache "echo Version: 1"
# shellcheck disable=SC2016 # the stub's own
stub apt-get 'for last; do :; done; [ "$last" = update ] || : >"${last}_1_arm64.deb"'
expect "cannot be built" "$programs/build-kernel" "$work/kernels"
[ ! -e "$work/kernels/building" ] || { echo "the source was left behind" >&2; exit 1; }
"$programs/fetch" "$work/packages" soup >/dev/null
# a desk whose network is gone: lists of before, and packages that are there
: >"$work/packages/apt/lists/all_Packages"
rm "$work/packages/apt/updated"
stub apt-get "exit 100"
[ "$("$programs/fetch" "$work/packages" soup 2>/dev/null)" = "$work/packages/soup_1_arm64.deb" ]
expect "cannot download stew" "$programs/fetch" "$work/kernels/packages" stew
