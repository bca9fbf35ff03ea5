#!/bin/sh
# Installs the package into a folder of its own: what is there afterwards, and that it works from there.
# Usage: install_test.sh <cmake> <build tree> <folder below the prefix> <source of the package> <python>
set -eu
export LC_ALL=C

cmake=$1 build=$2 folder=$3 source=$4 python=$5
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

"$cmake" --install "$build" --prefix "$prefix/usr" --component python >"$prefix/log" ||
    { cat "$prefix/log" >&2; exit 1; }

for name in __init__.py __main__.py errors.py header.py objects.py picture.py py.typed segments.py view.py; do
    echo "$folder/ztkshm/$name"
done >"$prefix/wanted"
(cd "$prefix/usr" && find . ! -type d | sed 's|^\./||' | sort) | diff -u "$prefix/wanted" - >&2
diff -r -x __pycache__ "$source" "$prefix/usr/$folder/ztkshm" >&2

cd /
PYTHONPATH=$prefix/usr/$folder PYTHONDONTWRITEBYTECODE=1 "$python" -m ztkshm --version | grep '^ztkshm '
