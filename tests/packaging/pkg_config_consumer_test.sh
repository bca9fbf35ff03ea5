#!/bin/sh
# The installed tree is found with pkg-config, linked by plain compilers as C and as C++, and runs.
# Usage: pkg_config_consumer_test.sh <cc> <c++> <prefix> <libdir> <consumer>
set -eu
export LC_ALL=C

cc=$1 cxx=$2 prefix=$3 libdir=$4 consumer=$5
command -v pkg-config >/dev/null || { echo "NOT TESTED HERE: pkg-config is not installed"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PKG_CONFIG_LIBDIR="$prefix/$libdir/pkgconfig"
export LD_LIBRARY_PATH="$prefix/$libdir"

flags=$(pkg-config --cflags --libs ztkcommon-standins)
# shellcheck disable=SC2086 # words are meant
{
    "$cc" -std=c99 -Wall -Wextra -Werror -o "$work/c" "$consumer/consumer.c" $flags
    "$cxx" -std=c++17 -Wall -Wextra -Werror -o "$work/cxx" "$consumer/consumer.cpp" $flags
}
"$work/c"
"$work/cxx"

# As for a board: the library alone, beside the board's own libraries.
board=$prefix/$libdir/ztkcommon/standins
# shellcheck disable=SC2046 # words are meant
"$cc" -std=c99 -o "$work/board" "$consumer/consumer.c" $(pkg-config --cflags --libs ztkcommon) \
    -Wl,-rpath-link,"$board"
LD_LIBRARY_PATH="$LD_LIBRARY_PATH:$board" "$work/board"
if "$work/board" 2>"$work/complaint"; then
    echo "ran without the board's libraries: something leads to the stand-ins" >&2
    exit 1
fi
grep -q 'librockit.so: cannot open shared object file' "$work/complaint"

# In a board's sysroot nothing is looked for twice as deep.
sysroot=${prefix%/usr}
# shellcheck disable=SC2046 # words are meant
"$cc" -std=c99 -o "$work/sysroot" "$consumer/consumer.c" \
    $(PKG_CONFIG_SYSROOT_DIR=$sysroot pkg-config --cflags --libs ztkcommon-standins)
"$work/sysroot"

[ "$(pkg-config --modversion ztkcommon)" = "$(pkg-config --modversion ztkcommon-standins)" ]
