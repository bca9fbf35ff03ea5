#!/bin/bash
# ztk-board with a program that uses the library.
# Usage: board_test.sh <case> <ztk-board> <tenant>
set -eu
export LC_ALL=C
# preloaded libraries come before the address sanitizer's
export ASAN_OPTIONS="${ASAN_OPTIONS:-}:verify_asan_link_order=0:detect_leaks=0"

case=$1 board=$2 tenant=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work

fail() {
    echo "$*" >&2
    exit 1
}
expect() {
    [ "$2" = "$3" ] || fail "$1: '$2', not '$3'"
}
# between WHAT VALUE LEAST MOST, in MiB
between() {
    if [ "$2" -lt $(($3 << 20)) ] || [ "$2" -gt $(($4 << 20)) ]; then
        fail "$1: $2 is not between $3 and $4 MiB"
    fi
}
# figure N: the N-th figure that the tenant says is available
figure() {
    sed -n 's/^available //p' "$work/out" | sed -n "$1p"
}
# on_board OPTIONS -- TENANT'S ARGUMENTS
on_board() {
    local options=()
    while [ "$1" != -- ]; do
        options+=("$1")
        shift
    done
    "$board" "${options[@]}" -- "$tenant" "${@:2}" >"$work/out" 2>"$work/err"
}
said() {
    grep -v '^available' "$work/out" | tr '\n' ';'
}

# Sanitizers have memory of their own in every program.
own=64

# total [COMMAND...]: what the board's /proc/meminfo has as MemTotal, as seen by a program run by COMMAND
total() {
    "$board" --mem 1G --mmz 256M --quiet -- "$@" cat /proc/meminfo | awk '/^MemTotal:/ { print $2 }'
}

case_figures() {
    on_board --mem 1G --mmz 256M --system 128M -- available
    between available "$(figure 1)" $((640 - own)) 640
    expect MemTotal "$(total)" 786432
    # who gets around the C library sees the board's file
    expect "MemTotal in the file" "$(total env -u LD_PRELOAD)" 786432
}

case_available_moves() {
    on_board --mem 2G --mmz 512M --shm 256M -- available heap 100 available shm 100 available mmz 100 available free 2 available
    expect said "$(said)" "heap 100: given;shm 100: given;mmz 100: given;"
    between "after 100 MiB of heap" $(($(figure 1) - $(figure 2))) 98 110
    between "after 100 MiB shared" $(($(figure 2) - $(figure 3))) 98 110
    between "after 100 MiB of MMZ" $(($(figure 3) - $(figure 4) + (8 << 20))) 0 16
    between "after a release" $(($(figure 4) - $(figure 5) + (8 << 20))) 0 16
}

case_reserve() {
    on_board --mem 900M --mmz 0 -- heap 600 heap 300 shm 300
    expect said "$(said)" "heap 600: refused;heap 300: given;shm 300: refused;"
}

case_small_shm() {
    on_board --shm 64M -- shm 40 shm 40 free 1 shm 40 shm 60
    expect said "$(said)" "shm 40: given;shm 40: refused;shm 40: given;shm 60: refused;"
}

case_own_shm() {
    expect "in /dev/shm" "$("$board" --quiet -- ls -A /dev/shm)" ""
    # shellcheck disable=SC2016 # for the shell on the board
    "$board" --quiet -- sh -c '"$0" shm 1 die; ls /dev/shm' "$tenant" >"$work/out" 2>"$work/err" || true
    name=$(grep '^ZTKTool-' "$work/out") || fail "no object on the board"
    [ ! -e "/dev/shm/$name" ] || fail "the board's object is on the desk: $name"
    expect "left behind" "$(ls "$work")" "$(printf 'err\nout')"
}

# 40 + 20 + 40 fill the area; what is idle goes back for the next request, which finds 80 MiB in two gaps.
case_fragmentation() {
    on_board --mmz 100M -- mmz 40 mmz 20 mmz 40 free 1 free 3 mmz 60 mmz 40 mmz 40 mmz 1
    expect said "$(said)" \
        "mmz 40: given;mmz 20: given;mmz 40: given;mmz 60: refused;mmz 40: given;mmz 40: given;mmz 1: refused;"
    grep -q '9 requests, 3 refused as full, 1 for want of a gap' "$work/err" ||
        fail "$(cat "$work/err")"
}

case_one_area_for_all() {
    on_board --mmz 100M -- mmz 60 run mmz 60 mmz 40
    expect said "$(said)" "mmz 60: given;mmz 60: refused;mmz 40: given;"
    # shellcheck disable=SC2016 # for the shell on the board
    "$board" --mmz 100M --quiet -- sh -c '"$0" mmz 60 die; "$0" mmz 60' "$tenant" >"$work/out" 2>"$work/err" || true
    expect "after the first died" "$(said)" "mmz 60: given;mmz 60: given;"
}

# The pools try once more: one failure goes unnoticed, two do not.
case_scripted() {
    on_board --fail mmz:1 --fail shm:1 --fail mem:1 --log "$work/log" -- heap 1 mmz 1 shm 1
    expect said "$(said)" "heap 1: given;mmz 1: given;shm 1: given;"
    expect retries "$(grep -c 'free all unbusy block(s) and try again' "$work/log")" 3
    on_board --fail mmz:from:2 -- mmz 1 mmz 2 mmz 3
    expect said "$(said)" "mmz 1: given;mmz 2: refused;mmz 3: refused;"
    grep -q '4 refused by script' "$work/err" || fail "$(cat "$work/err")"
    on_board --fail shm:every:2 --fail shm:3 -- shm 1 shm 2 shm 3
    expect said "$(said)" "shm 1: given;shm 2: refused;shm 3: given;"
    on_board --fail mem:from:1 -- heap 1 available
    expect said "$(said)" "heap 1: refused;"
    expect available "$(figure 1)" 0
}

# status EXPECTED COMMAND...
status() {
    local wanted=$1 got=0
    shift
    "$@" >"$work/out" 2>"$work/err" || got=$?
    expect "exit status of $*" "$got" "$wanted"
}

case_exit_status() {
    status 0 "$board" --quiet -- true
    [ ! -s "$work/err" ] || fail "--quiet said: $(cat "$work/err")"
    status 7 "$board" -- "$tenant" status 7
    status 137 "$board" -- "$tenant" die
    status 127 "$board" -- "$work/nothing"
    grep -q "cannot run $work/nothing: No such file" "$work/err"
    echo nothing >"$work/text"
    status 126 "$board" -- "$work/text"
    status 0 "$board" --help
    status 0 "$board" --version
}

case_usage() {
    local arguments
    for arguments in "" "-- " "--mem 2X -- true" "--mmz 3G -- true" "--mem 1G --mmz 512M --system 600M -- true" \
        "--shm 0 -- true" "--fail mmz -- true" "--fail mmz:0 -- true" "--fail shm:each:3 -- true" \
        "--fail disk:3 -- true" "--standins /nothing -- true" "--what -- true" "true"; do
        # shellcheck disable=SC2086 # words are meant
        status 125 "$board" $arguments
        expect "lines for '$arguments'" "$(wc -l <"$work/err")" 1
        grep -q '^ztk-board: .*(see ztk-board --help)$' "$work/err" || fail "$(cat "$work/err")"
    done
}

case_asked_to_end() {
    mkfifo "$work/pipe"
    "$board" --quiet -- "$tenant" wait >"$work/pipe" 2>"$work/err" &
    local pid=$! got=0
    read -r line <"$work/pipe"
    expect line "$line" ready
    kill -TERM "$pid"
    wait "$pid" || got=$?
    expect "exit status" "$got" 143
}

# As services and some shells start their programs: a child's end is told to nobody.
case_ends_of_children_ignored() {
    local ignoring='import os, signal, sys
signal.signal(signal.SIGCHLD, signal.SIG_IGN)
os.execvp(sys.argv[1], sys.argv[1:])'
    status 7 timeout 20 python3 -c "$ignoring" "$board" --quiet -- "$tenant" status 7
    # bit 16 of the signals that the program itself ignores
    expect "ignored by the program" "$(python3 -c "$ignoring" "$board" --quiet -- sed -n 's/^SigIgn:.*\(.\{5\}\)$/\1/p' \
        /proc/self/status | cut -c1)" 1
}

case_refused_by_the_kernel() {
    unshare -Ur true 2>/dev/null || { echo "NOT TESTED HERE: no user namespaces"; exit 77; }
    # a user namespace in which there may be no other, and no right to mount
    # shellcheck disable=SC2016 # for the shell in there
    status 125 unshare -Ur sh -c 'echo 0 >/proc/sys/user/max_user_namespaces
        exec setpriv --bounding-set -all --inh-caps -all --no-new-privs "$@"' sh "$board" -- true
    grep -q '^ztk-board: the kernel refuses a user and a mount namespace: ' "$work/err" || fail "$(cat "$work/err")"
    expect "left behind" "$(ls "$work")" "$(printf 'err\nout')"
}

case_unprivileged() {
    [ "$(id -u)" -eq 0 ] || { echo "NOT TESTED HERE: the other tests run without privileges, too"; exit 77; }
    chmod 777 "$work"
    as_nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups)
    "${as_nobody[@]}" test -x "$tenant" || { echo "NOT TESTED HERE: this folder is root's own"; exit 77; }
    "${as_nobody[@]}" "$board" --mem 1G --mmz 256M -- "$tenant" available mmz 10 shm 10 >"$work/out" 2>"$work/err" ||
        fail "$(cat "$work/err")"
    between available "$(figure 1)" $((768 - own)) 768
    expect said "$(said)" "mmz 10: given;shm 10: given;"
    expect "user on the board" "$("${as_nobody[@]}" "$board" --quiet -- id -u)" 65534
}

# Whatever --help names, the manual and the completion know.
case_documents() {
    local source option
    source=$(cd "$(dirname "$0")/../.." && pwd)
    "$board" --help | sed -n 's/^ *\(-h,\)\{0,1\}\(--[a-z]*\).*/\2/p' | sort -u >"$work/options"
    [ "$(wc -l <"$work/options")" -ge 9 ]
    while read -r option; do
        grep -q -- "${option//-/\\\\-}" "$source/docs/man/ztk-board.1" || fail "$option is not in the manual"
        grep -q -- "$option" "$source/tools/ztk-board/completion/ztk-board" || fail "$option is not completed"
    done <"$work/options"
    # shellcheck disable=SC2016 # for that shell
    expect completion "$(bash -c 'source "$0"; COMP_WORDS=(ztk-board --m) COMP_CWORD=1; _ztk_board
        echo "${COMPREPLY[*]}"' "$source/tools/ztk-board/completion/ztk-board")" "--mem --mmz"
}

if [ "$case" != refused_by_the_kernel ] && [ "$case" != documents ] &&
    ! "$board" --quiet -- true 2>"$work/err"; then
    grep -q 'the kernel refuses' "$work/err" || fail "$(cat "$work/err")"
    echo "NOT TESTED HERE: $(cat "$work/err")"
    exit 77
fi
"case_$case"
