#!/bin/sh
# What the packed files need is what their packages say: each library's package, in a version that has the newest
# symbols in use.
# Usage: depends_test.sh <folder of packages> <readelf>
set -eu
export LC_ALL=C

packages=$1 readelf=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

# Debian's package of a library; nothing for the board's own two, and for our own.
package_of() {
    case $1 in
        libc.so.6 | libm.so.6 | ld-linux-*) echo libc6 ;;
        libgcc_s.so.1) echo libgcc-s1 ;;
        libstdc++.so.6) echo libstdc++6 ;;
        libfmt.so.9) echo libfmt9 ;;
        libpng16.so.16) echo libpng16-16 ;;
        libncursesw.so.6) echo libncursesw6 ;;
        libtinfo.so.6) echo libtinfo6 ;;
        librockit.so | libZTKSDKLogC.so) ;;
        *) echo "unknown:$1" ;;
    esac
}

# The package version that brought a version of symbols: libc6 and libgcc-s1 number them alike, libstdc++6 by
# the compiler's release.
brought_by() {
    case $1 in
        GLIBC_*) echo "libc6 ${1#GLIBC_}" ;;
        GCC_*) echo "libgcc-s1 ${1#GCC_}" ;;
        GLIBCXX_3.4 | GLIBCXX_3.4.? | GLIBCXX_3.4.1? | GLIBCXX_3.4.20 | CXXABI_1.3 | CXXABI_1.3.[1-8]) echo "libstdc++6 4.9" ;;
        GLIBCXX_3.4.21 | CXXABI_1.3.9) echo "libstdc++6 5.2" ;;
        GLIBCXX_3.4.22 | CXXABI_1.3.10) echo "libstdc++6 6" ;;
        GLIBCXX_3.4.23 | GLIBCXX_3.4.24 | CXXABI_1.3.11) echo "libstdc++6 7" ;;
        GLIBCXX_3.4.25) echo "libstdc++6 8" ;;
        GLIBCXX_3.4.26 | CXXABI_1.3.12) echo "libstdc++6 9" ;;
        GLIBCXX_3.4.27) echo "libstdc++6 9.2" ;;
        GLIBCXX_3.4.28) echo "libstdc++6 9.3" ;;
        GLIBCXX_3.4.29 | CXXABI_1.3.13) echo "libstdc++6 11" ;;
        GLIBCXX_3.4.30) echo "libstdc++6 12" ;;
        *) echo "unknown $1" ;;
    esac
}

# stated <package>: the version that Depends asks for, nothing if it does not name the package
stated() {
    tr ',' '\n' <"$work/depends" | sed -n "s/^ *$1 (>= \(.*\))\$/\1/p"
}

check_needed() {
    for library in $("$readelf" -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
        needed=$(package_of "$library")
        [ -n "$needed" ] || continue
        [ -n "$(stated "$needed")" ] || fail "$deb: $1 needs $library, and Depends says nothing of $needed"
        echo "$needed" >>"$work/used"
    done
}

check_versions() {
    for version in $("$readelf" -V "$1" | sed -n 's/.*Name: \([A-Z]*_[0-9.]*\) .*/\1/p' | sort -u); do
        wanted=$(brought_by "$version")
        package=${wanted% *}
        has=$(stated "$package")
        [ -n "$has" ] || fail "$deb: $1 wants $version, and Depends says nothing of $package"
        dpkg --compare-versions "$has" ge "${wanted#* }" ||
            fail "$deb: $1 wants $version, brought by $wanted, and Depends is content with $has"
    done
}

files=0
for deb in "$packages"/*.deb; do
    case $deb in *-dbgsym_*) continue ;; esac
    rm -rf "$work/tree"
    dpkg-deb -x "$deb" "$work/tree"
    dpkg-deb -f "$deb" Depends >"$work/depends"
    : >"$work/used"
    find "$work/tree" -type f -exec sh -c 'head -c4 "$1" | grep -q "^.ELF" && echo "$1"' _ {} \; >"$work/elf"
    while read -r file; do
        check_needed "$file"
        check_versions "$file"
        files=$((files + 1))
    done <"$work/elf"
    # No more than that: but for packages without programs, which depend on others of ours.
    [ -s "$work/used" ] || continue
    for package in $(tr ',' '\n' <"$work/depends" | awk '{ print $1 }'); do
        grep -qx "$package" "$work/used" || fail "$deb: Depends names $package, which nothing in it needs"
    done
done
[ "$files" -ge 3 ] || fail "only $files programs and libraries in $packages"
