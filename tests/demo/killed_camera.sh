#!/bin/bash
# kill -9 of the camera in the middle: the viewer says so in one line and fails; the camera's objects are
# gone after the next start.
# shellcheck source-path=SCRIPTDIR source=common.sh
source "$(dirname "$0")/common.sh" "$@"

# Tells how the viewer ended, which is not this shell's child.
cat >"$folder/viewer" <<EOF
#!/bin/bash
"$programs/demo_viewer" "\$@"
echo \$? >"$folder/viewer-status"
EOF
chmod +x "$folder/viewer"

exec {lines}< <(exec "$programs/demo_camera" --viewer "$folder/viewer" --folder "$folder" \
    --frames 999999 -- "$pictures"/*.jpg 2>"$folder/errors")
camera=$!
killed=
# The viewer holds the pipe as well: this ends when both have ended.
while read -r line <&$lines; do
    case $line in
        "camera: 40 of "*)
            [[ -n $(objects_of "$camera") ]] || fail "the camera has no objects"
            kill -9 "$camera" && killed=yes
            ;;
    esac
done
wait "$camera" 2>/dev/null
[[ $killed == yes ]] || fail "the camera never came so far"
[[ $(<"$folder/viewer-status") == 1 ]] || fail "the viewer ended with $(<"$folder/viewer-status")"
grep -qxE 'demo_viewer: the camera is gone; [0-9]+ frames were viewed' "$folder/errors" ||
    fail "the viewer said: $(<"$folder/errors")"
[[ $(wc -l <"$folder/errors") == 1 ]] || fail "more than one line: $(<"$folder/errors")"

"$programs/demo_camera" --viewer "$programs/demo_viewer" --folder "$folder" --frames 1 -- "$pictures"/cat.png \
    >/dev/null || fail "the next start"
expect_no_objects "$camera"

# run-demo reports a killed program and does not go on.
mkdir -p "$folder/build/examples"
printf '#!/bin/bash\nkill -9 $$\n' >"$folder/build/examples/demo_camera"
printf '#!/bin/bash\n' >"$folder/build/examples/demo_pipeline"
chmod +x "$folder"/build/examples/*
"$run_demo" "$folder/build" "$folder/out" >"$folder/output" 2>"$folder/errors"
status=$?
[[ $status == 137 ]] || fail "run-demo ended with $status"
expect_in "$folder/errors" "run-demo: demo_camera was killed by signal 9"
[[ ! -e $folder/out/results.json ]] || fail "run-demo went on"
rm -rf -- "$folder"
