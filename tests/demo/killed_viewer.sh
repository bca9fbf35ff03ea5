#!/bin/bash
# kill -9 of the viewer in the middle: the camera says so in one line, fails, and takes its objects along.
# shellcheck source-path=SCRIPTDIR source=common.sh
source "$(dirname "$0")/common.sh" "$@"

exec {lines}< <(exec "$programs/demo_camera" --viewer "$programs/demo_viewer" --folder "$folder" \
    --frames 999999 -- "$pictures"/*.jpg 2>"$folder/errors")
camera=$!
viewer=
while read -r line <&$lines; do
    case $line in
        *"viewer: process "*) viewer=${line##* } ;;
        "camera: 40 of "*) kill -9 "$viewer" ;;
    esac
done
wait "$camera"
status=$?

[[ -n $viewer ]] || fail "the viewer never started"
[[ $status == 1 ]] || fail "the camera ended with $status"
[[ $(<"$folder/errors") == "demo_camera: the viewer is gone: it was killed by signal 9" ]] ||
    fail "the camera said: $(<"$folder/errors")"
expect_no_objects "$camera"
rm -rf -- "$folder"
