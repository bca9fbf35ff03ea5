#!/bin/sh
# lintian finds nothing in the packages but what their overrides list, and every override has its reason.
# Usage: lintian_test.sh <folder of packages> <packaging>
set -eu
export LC_ALL=C

packages=$1 packaging=$2
for overrides in "$packaging"/*/lintian-overrides; do
    awk '/^#/ { reason = 1; next } /^$/ { reason = 0; next }
         !reason { print FILENAME ": no reason given for: " $0; bad = 1 } END { exit bad }' "$overrides" >&2
done

command -v lintian >/dev/null || { echo "NOT TESTED HERE: lintian is not installed"; exit 77; }
# Root may run it on its own packages. Its word of having overridden something is no finding.
root=
[ "$(id -u)" -ne 0 ] || root=--allow-root
# What it unpacks it does not always remove.
TMPDIR=$(mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
# The debugging package is left out: it may have no overrides of its own.
# shellcheck disable=SC2046,SC2086 # words are meant, and no option is no word
lintian --no-cfg $root --display-info --fail-on error,warning,info --tag-display-limit 0 \
    $(find "$packages" -name '*.deb' ! -name '*-dbgsym_*') >&2
