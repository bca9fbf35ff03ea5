#!/bin/sh
# What the built library looks like to a linker and a loader.
# Usage: elf_test.sh <check> <readelf> <library> [list]
set -eu
export LC_ALL=C

check=$1 readelf=$2 library=$3 list=${4:-}

fail() {
    echo "$library: $*" >&2
    exit 1
}

# "type bind visibility section name" of every dynamic symbol; those of type SECTION, which ARM64 libraries have, are
# marks for the linker
dynamic_symbols() {
    "$readelf" -W --dyn-syms "$library" |
        awk '$1 ~ /^[0-9]+:$/ && NF >= 8 && $4 != "SECTION" { print $4, $5, $6, $7, $8 }'
}

# The values of one tag of the dynamic section, without brackets.
dynamic_values() {
    "$readelf" -W -d "$library" | sed -n "s/^ *0x[0-9a-f]* (${1}) *\(.*: *\)\{0,1\}//p" | tr -d '[]'
}

expect() {
    [ "$2" = "$3" ] || fail "$1 is '$2', not '$3'"
}

# Just these, each an ordinary function of global binding without a version: weak and unique ones would bind
# to, or keep, the host's.
check_exports() {
    dynamic_symbols | awk '$4 != "UND" { print }' | sort >"$work/found"
    sort "$list" | while read -r name; do echo "FUNC GLOBAL DEFAULT $name"; done >"$work/wanted"
    awk '{ print $1, $2, $3, $5 }' "$work/found" | sort -k4 >"$work/got"
    sort -k4 "$work/wanted" | diff -u - "$work/got" >&2 || fail "exports differ from $list"
}

# Functions of the C library and the board are called through the dynamic table, where a test, a debugging
# tool or the host can take their place.
check_imports() {
    dynamic_symbols | awk '$4 == "UND" && $2 == "GLOBAL" { sub(/@.*/, "", $5); print $5 }' | sort >"$work/got"
    sort "$list" | comm -23 - "$work/got" >"$work/missing"
    [ ! -s "$work/missing" ] || fail "not among the undefined symbols: $(tr '\n' ' ' <"$work/missing")"
}

check_dynamic_section() {
    expect SONAME "$(dynamic_values SONAME)" libZTKCommon.so
    for needed in librockit.so libZTKSDKLogC.so; do
        dynamic_values NEEDED | grep -qx "$needed" || fail "does not need $needed"
    done
    dynamic_values 'FLAGS' | grep -qw BIND_NOW || fail "binds its symbols lazily"
    "$readelf" -W -d "$library" | grep -Ew 'SYMBOLIC|TEXTREL' >&2 && fail "has a flag that it must not have"
    expect RPATH "$(dynamic_values RPATH)" ''
}

check_build_tree_path() {
    # shellcheck disable=SC2016 # the loader expands it, not the shell
    expect RUNPATH "$(dynamic_values RUNPATH)" '$ORIGIN/../standins'
}

check_no_path() {
    expect RPATH "$(dynamic_values RPATH)" ''
    expect RUNPATH "$(dynamic_values RUNPATH)" ''
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"check_$check"
