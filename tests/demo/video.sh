#!/bin/bash
# A video's frames go through like pictures. The decoder here is a stand-in that delivers three frames.
# shellcheck source-path=SCRIPTDIR source=common.sh
source "$(dirname "$0")/common.sh" "$@"

mkdir "$folder/bin"
cat >"$folder/bin/ffmpeg" <<EOF
#!/bin/bash
printf '%s\n' "\$@" >"$folder/arguments"
head -c $((3 * 960 * 540 * 3)) /dev/zero
EOF
chmod +x "$folder/bin/ffmpeg"
echo "a film" >"$folder/-film one.mp4"
(cd "$folder" && PATH=$folder/bin:$PATH "$run_demo" "$build" out --frames 8 "-film one.mp4") >"$folder/output" ||
    fail "run-demo"
expect_in "$folder/output" "pipeline: 3 pictures"
expect_in "$folder/arguments" "file:-film one.mp4"
[[ -s $folder/out/contact-sheet.png ]] || fail "no contact sheet"
rm -rf -- "$folder"
