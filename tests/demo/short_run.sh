#!/bin/bash
# A short run leaves its results and nothing else; what the pools did is the same every time.
# shellcheck source-path=SCRIPTDIR source=common.sh
source "$(dirname "$0")/common.sh" "$@"

# The four pictures, each whole and halved, are 8 scenes; 16 frames show each twice.
frames=16
"$run_demo" "$build" "$folder/out" --frames $frames >"$folder/output" || fail "run-demo"

for picture in contact-sheet memory; do
    [[ $(head -c 8 "$folder/out/$picture.png" | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] ||
        fail "$picture.png is no PNG"
    [[ $(stat -c %s "$folder/out/$picture.png") -gt 20000 ]] || fail "$picture.png is empty"
done
results=$folder/out/results.json

# One process. 6 requests a frame. A frame in growing sizes needs five blocks at once: one MMZ, four heap
# (the blurred rows go back before the edges are asked for). The first picture makes 5 new ones; the next
# two, smaller, none; the fourth, the largest, makes 5 more; everything after that is reuse.
expect_in "$results" '"pool_system_allocations": 10, "pool_served_by_reuse": 86'
expect_in "$results" '"frames": 16, "requests": 96'

# Two processes, at most three frames in flight. New segments: the first three frames; the fifth, since of
# the larger idle ones one is in use; the seventh, the largest of all.
expect_in "$results" '"pool": {"requests": 16, "served_by_reuse": 11, "segments_created": 5,'
expect_in "$results" '"fresh": {"requests": 16, "served_by_reuse": 0, "segments_created": 16,'

# What the demo counts itself and what it finds in the library's log are the same.
logged=$(sed -n 's/.*"logged_run": {"local_requests": \([0-9]*\), "shared_requests": \([0-9]*\), "segments_created": \([0-9]*\)}.*/\1 \2 \3/p' "$results")
read -r heap mmz shared segments < <(sed -n 's/.*"heap": {"requests": \([0-9]*\),.*"mmz": {"requests": \([0-9]*\),.*"shared": {"requests": \([0-9]*\), "from_system": \([0-9]*\),.*/\1 \2 \3 \4/p' "$results")
[[ $logged == "$((heap + mmz)) $shared $segments" ]] ||
    fail "the demo counted '$logged', the log holds '$((heap + mmz)) $shared $segments'"
[[ $heap == 24 && $mmz == 24 && $shared == 24 ]] || fail "not a block of each kind for each of the 24 logged frames"

processes=$(grep -oE 'process [0-9]+' "$folder/output" | grep -oE '[0-9]+')
[[ $(wc -w <<<"$processes") == 4 ]] || fail "two cameras and two viewers expected, got: $processes"
for process in $processes; do
    expect_no_objects "$process"
done

# Twice the frames, not one block more.
"$run_demo" "$build" "$folder/out" --frames $((2 * frames)) >"$folder/output" || fail "run-demo, again"
expect_in "$results" '"pool_system_allocations": 10, "pool_served_by_reuse": 182'
expect_in "$results" '"pool": {"requests": 32, "served_by_reuse": 27, "segments_created": 5,'

rm -rf -- "$folder"
