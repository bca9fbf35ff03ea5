#!/bin/sh
# The installed tools run, find what is installed beside them, and work on a program that uses the library.
# Usage: tools_test.sh <cc> <prefix> <libdir> <consumer> <folder of the tests of ztkmem log>
set -eu
export LC_ALL=C

cc=$1 prefix=$(realpath "$2") libdir=$3 consumer=$4 log_tests=$(realpath "$5")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
standins=$prefix/$libdir/ztkcommon/standins

fail() {
    echo "$*" >&2
    exit 1
}
# said TEXT: the last command's output has it
said() {
    grep -qF -- "$1" "$work/out" || fail "no '$1' in: $(cat "$work/out")"
}
ztkmem() {
    LD_LIBRARY_PATH=$standins "$prefix/bin/ztkmem" "$@" >"$work/out" 2>&1
}

(cd "$log_tests/data" && "$prefix/bin/ztkmem" log demo.log >"$work/out") || [ $? -eq 1 ]
diff -u "$log_tests/golden/demo.txt" "$work/out" >&2

export PKG_CONFIG_LIBDIR="$prefix/$libdir/pkgconfig"
for program in consumer forks; do
    # shellcheck disable=SC2046 # words are meant
    "$cc" -std=gnu99 -o "$work/$program" "$consumer/$program.c" $(pkg-config --cflags --libs ztkcommon-standins) \
        -Wl,-rpath,"$prefix/$libdir"
done
"$prefix/bin/ztk-record" -o "$work/t.rec" -- "$work/consumer"
ztkmem report "$work/t.rec" || fail "$(cat "$work/out")"
said "6 calls in 1 thread"

"$prefix/bin/ztk-record" -o "$work/f.rec" -- "$work/forks"
ztkmem report "$work/f.rec" || fail "$(cat "$work/out")"
said "2 calls in 1 thread"
ztkmem report "$work"/f.rec.* || fail "$(cat "$work/out")"
said "1 call in 1 thread"
said "A forked child of process"

ztkmem replay "$work/t.rec" || fail "$(cat "$work/out")"
said " on $prefix/$libdir/libZTKCommon.so"
said "every call gave the same status as when it was recorded"
ztkmem trace "$work/t.rec" -o "$work/t.json"
python3 -m json.tool "$work/t.json" >"$work/out"
said '"traceEvents"'
ztkmem plot "$work/t.rec" -o "$work/t.svg"
grep -q '</svg>' "$work/t.svg"

"$prefix/bin/ztkmem" --version >"$work/version"
PYTHONPATH=$prefix/lib/python3/dist-packages python3 -B -m ztkshm --version >"$work/out"
said "ztkshm $(sed 's/^ztkmem //' "$work/version")"

if ! "$prefix/bin/ztk-board" --mmz 64M -- "$work/consumer" >"$work/out" 2>&1; then
    grep -q 'the kernel refuses' "$work/out" || fail "$(cat "$work/out")"
    echo "NOT TESTED HERE: $(cat "$work/out")"
    exit 0
fi
said "64.0M taken; 1 requests"
