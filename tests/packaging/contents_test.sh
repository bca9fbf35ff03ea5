#!/bin/sh
# Each package holds just the files that its list in packages/ names; no file is in two of them.
# Usage: contents_test.sh <folder of packages> <libdir>
set -eu
export LC_ALL=C

packages=$1 libdir=$2
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

found=0
for deb in "$packages"/*.deb; do
    name=$(dpkg-deb -f "$deb" Package)
    case $name in *-dbgsym) continue ;; esac
    found=$((found + 1))
    # "mode owner path" of what is no folder
    dpkg-deb -c "$deb" | awk '$1 !~ /^d/ { sub(/^\./, "", $6); print $1, $2, $6 }' | sort -k3 >"$work/got"
    sed "s|@LIBDIR@|/usr/$libdir|" "$here/packages/$name.txt" | sort -k3 | diff -u - "$work/got" >&2 ||
        { echo "$name holds other files than packages/$name.txt" >&2; exit 1; }
    awk '{ print $3 }' "$work/got" >>"$work/all"
done
[ "$found" -ge 3 ] || { echo "only $found packages in $packages" >&2; exit 1; }
[ -z "$(sort "$work/all" | uniq -d)" ] || { echo "in two packages: $(sort "$work/all" | uniq -d)" >&2; exit 1; }
