#!/bin/sh
# dpkg installs the packages into a root of their own, finds them whole, and removes them without a trace.
# Usage: dpkg_test.sh <folder of packages>
set -eu
export LC_ALL=C

packages=$1
[ "$(id -u)" -eq 0 ] || { echo "NOT TESTED HERE: dpkg installs as root only"; exit 77; }
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
: >"$root/var/lib/dpkg/status"
: >"$root/var/lib/dpkg/available"

# What they depend on is not in that root.
in_root() {
    dpkg --root="$root" --force-depends --log=/dev/null "$@" >"$root/log" 2>&1 || { cat "$root/log" >&2; exit 1; }
}

# shellcheck disable=SC2046 # words are meant
set -- $(for deb in "$packages"/*.deb; do dpkg-deb -f "$deb" Package; done)
in_root --install "$packages"/*.deb
in_root --verify "$@"
[ ! -s "$root/log" ] || { cat "$root/log" >&2; exit 1; }
for name in "$@"; do
    dpkg-query --root="$root" -W -f '${Package} ${Status}\n' "$name" | grep -q 'install ok installed$'
done
in_root --purge "$@"
find "$root" ! -type d ! -path "$root/var/lib/dpkg/*" ! -path "$root/log" | grep . >&2 &&
    { echo "left behind after removal" >&2; exit 1; }
exit 0
