#!/bin/sh
# Installs ztkmem and ztk-record into a folder of its own: what is there afterwards, and that it works.
# Usage: install_test.sh <cmake> <build tree> <bindir> <mandir> <datadir> <libdir>
set -eu
export LC_ALL=C

cmake=$1 build=$2 bindir=$3 mandir=$4 datadir=$5 libdir=$6
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

"$cmake" --install "$build" --prefix "$prefix/usr" --component tools >"$prefix/log" ||
    { cat "$prefix/log" >&2; exit 1; }

printf '%s\n' "$bindir/ztkmem" "$mandir/man1/ztkmem.1" "$datadir/bash-completion/completions/ztkmem" \
    "$bindir/ztk-record" "$mandir/man1/ztk-record.1" "$datadir/bash-completion/completions/ztk-record" \
    "$libdir/ztk-record/libztkrecord.so" |
    sort >"$prefix/wanted"
(cd "$prefix/usr" && find . ! -type d | sed 's|^\./||' | sort) | diff -u "$prefix/wanted" - >&2

"$prefix/usr/$bindir/ztkmem" --version | grep '^ztkmem '
"$prefix/usr/$bindir/ztk-record" -o "$prefix/t.rec" -- sh -c 'exit 5' || [ $? -eq 5 ]
[ ! -e "$prefix/t.rec" ]
