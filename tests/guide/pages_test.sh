#!/bin/sh
# The guide is built without a warning, and every link in it leads somewhere.
# Usage: pages_test.sh <source tree> <folder for the pages>
set -eu
command -v doxygen >/dev/null || { echo "NOT TESTED HERE: doxygen is not installed"; exit 77; }
"$1/docs/guide/build-docs" "$2"
for page in index concepts examples status_codes log_lines operations ztk__common_8h ztk__shared__view_8h; do
    [ -s "$2/html/$page.html" ] || { echo "no page $page"; exit 1; }
done
# what an example prints stands behind it
grep -q 'null freed: 0x80100006' "$2/html/examples.html"
