#!/bin/sh
# What the packages say of themselves; above all that none but the user asks for the stand-ins.
# Usage: control_test.sh <folder of packages>
set -eu
export LC_ALL=C

packages=$1

expect() {
    [ "$2" = "$3" ] || { echo "$1 is '$2', not '$3'" >&2; exit 1; }
}
field() {
    dpkg-deb -f "$packages"/"$1"_*.deb "$2"
}

version=$(field libztkcommon Version)
expect "Depends of libztkcommon-dev" "$(field libztkcommon-dev Depends)" "libztkcommon (= $version)"
for package in libztkcommon libztkcommon-dev; do
    expect "Multi-Arch of $package" "$(field "$package" Multi-Arch)" same
done
expect "synopsis of libztkcommon" "$(field libztkcommon Description | head -n1)" \
    "memory pools of an image-processing kit"
for deb in "$packages"/*.deb; do
    for relation in Depends Pre-Depends Recommends Suggests Provides; do
        if dpkg-deb -f "$deb" "$relation" | grep standins >&2; then
            echo "$deb draws in the stand-ins" >&2
            exit 1
        fi
    done
    if dpkg-deb -I "$deb" | grep -E ' (pre|post)(inst|rm) ' >&2; then
        echo "$deb has a script to run as root" >&2
        exit 1
    fi
done
dpkg-deb -I "$packages"/libztkcommon_*.deb triggers | grep -qx 'activate-noawait ldconfig'
dpkg-deb -I "$packages"/libztkcommon_*.deb symbols | grep -q '^libZTKCommon.so libztkcommon #MINVER#$'
