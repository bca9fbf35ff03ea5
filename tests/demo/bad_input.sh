#!/bin/bash
# Bad input: one clear line, a failure, and the results of an earlier run as they were.
# shellcheck source-path=SCRIPTDIR source=common.sh
source "$(dirname "$0")/common.sh" "$@"

mkdir -p "$folder/out"
echo earlier >"$folder/out/contact-sheet.png"
echo earlier >"$folder/out/memory.png"
echo earlier >"$folder/out/results.json"
good=$pictures/cat.png
search=$PATH

# refused <text of the line> <arguments of run-demo ...>
refused() {
    local text=$1
    shift
    PATH=$search "$run_demo" "$@" >"$folder/output" 2>"$folder/errors" && fail "accepted: $*"
    expect_in "$folder/errors" "$text"
    [[ $(wc -l <"$folder/errors") == 1 ]] || fail "more than one line for $*: $(<"$folder/errors")"
    [[ $(cat "$folder/out/"{contact-sheet.png,memory.png,results.json} | uniq) == earlier ]] ||
        fail "earlier results were touched by $*"
}

refused "no-such.png: No such file" "$build" "$folder/out" "$good" "$folder/no-such.png"
refused "$folder: not a file" "$build" "$folder/out" "$folder"
: >"$folder/empty.png"
refused "empty.png: the file is empty" "$build" "$folder/out" "$folder/empty.png"
head -c 20000 "$good" >"$folder/cut.png"
refused "cut.png: damaged PNG" "$build" "$folder/out" "$folder/cut.png"
head -c 20000 "$pictures/coffee.jpg" >"$folder/cut.jpg"
refused "cut.jpg: damaged JPEG" "$build" "$folder/out" "$folder/cut.jpg"
head -c 100 "$pictures/coffee.jpg" >"$folder/stump.jpg"
refused "stump.jpg: not a readable JPEG" "$build" "$folder/out" "$folder/stump.jpg"

for frames in 0 -3 abc 1.5 1e3 9999999 ''; do
    refused "--frames takes a number" "$build" "$folder/out" --frames "$frames"
done
refused "--frames needs a number" "$build" "$folder/out" --frames
refused "unknown option --fast" "$build" "$folder/out" --fast
refused "usage:" "$build"
refused "build the target 'demo' first" "$folder" "$folder/out"
refused "cannot be made" "$build" "$folder/empty.png"

# A PATH without ffmpeg, and one with an ffmpeg that knows nothing.
mkdir "$folder/bin"
for tool in bash dirname basename mkdir gnuplot env; do
    ln -s "$(command -v $tool)" "$folder/bin/$tool"
done
echo "neither picture nor video" >"$folder/text.mp4"
search=$folder/bin
refused "text.mp4: neither PNG nor JPEG; to decode it as a video, ffmpeg is needed" \
    "$build" "$folder/out" "$folder/text.mp4"
printf '#!/bin/bash\nexit 1\n' >"$folder/bin/ffmpeg"
chmod +x "$folder/bin/ffmpeg"
refused "text.mp4: neither PNG nor JPEG, and ffmpeg cannot decode it" "$build" "$folder/out" "$folder/text.mp4"
rm "$folder/bin/gnuplot"
refused "gnuplot is not installed" "$build" "$folder/out"

# No memory: the library's refusal is reported, not worked around.
search=$PATH
export ZTK_ROCKIT_CAPACITY=64K
refused "demo_pipeline: the library refused" "$build" "$folder/out" "$good"
rm -rf -- "$folder"
