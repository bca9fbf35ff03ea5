#!/bin/sh
# Includes go down only: common -> pool -> platform, pevents. Everybody may speak in log lines and status codes:
# common/log.h, common/status.h and what these include. pevents and external include nothing of ours.
# Usage: check-layers.sh <source tree> | --self-test <source tree>
set -eu
export LC_ALL=C

spoken_by_all="common/log.h common/status.h common/ztk_common.h external/ztk_log.h"

# The folders that a folder's files may include from.
allowed() {
    case $1 in
    common) echo "common pool platform pevents external" ;;
    pool) echo "pool platform pevents external" ;;
    platform) echo "platform external" ;;
    pevents) echo "pevents" ;;
    external) echo "external" ;;
    esac
}

is_in() {
    case " $2 " in *" $1 "*) return 0 ;; esac
    return 1
}

# "file:line:header" of each include of ours: in quotes, or in brackets with one of our folders.
our_includes() {
    grep -nHE '^[[:space:]]*#[[:space:]]*include[[:space:]]*("|<(common|pool|platform|pevents|external)/)' "$@" |
        sed -E 's/^([^:]*:[0-9]+:).*include[[:space:]]*["<]([^">]*)[">].*/\1\2/'
}

# May this file include this header?
may_include() {
    file=$1 header=$2
    folder=${file%%/*} target=${header%%/*}
    [ -f "$header" ] || return 1
    case $header in */../* | ../*) return 1 ;; esac
    if is_in "$file" "$spoken_by_all"; then is_in "$header" "$spoken_by_all"; return; fi
    if is_in "$folder" "common pool platform" && is_in "$header" "$spoken_by_all"; then return 0; fi
    is_in "$target" "$(allowed "$folder")"
}

check() {
    cd "$1"
    files=$(find common pool platform pevents external -name '*.h' -o -name '*.c' -o -name '*.cpp')
    bad=0
    # shellcheck disable=SC2086 # no file name of ours has a blank
    for entry in $(our_includes $files); do
        file=${entry%%:*} header=${entry##*:}
        if ! may_include "$file" "$header"; then
            echo "${entry%:*}: must not include $header" >&2
            bad=1
        fi
    done
    return $bad
}

# The tree as it is passes; with one include too many it does not, and the message names it.
self_test() {
    copy=$(mktemp -d)
    trap 'rm -rf "$copy"' EXIT
    for folder in common pool platform pevents external; do cp -RL "$1/$folder" "$copy/"; done
    (check "$copy") || { echo "self-test: the tree as it is does not pass" >&2; exit 1; }
    while read -r file header; do
        cp "$copy/$file" "$copy/saved"
        echo "#include $header" >>"$copy/$file"
        if (check "$copy") 2>"$copy/messages"; then
            echo "self-test: $file may include $header" >&2
            exit 1
        fi
        grep -q "^$file:[0-9]*: must not include $(echo "$header" | tr -d '"<>')$" "$copy/messages" || {
            echo "self-test: $file including $header is not reported:" >&2
            cat "$copy/messages" >&2
            exit 1
        }
        mv "$copy/saved" "$copy/$file"
    done <<END
platform/mmz.cpp "pool/pool_limits.h"
platform/mapping.h "common/singletons.h"
platform/threads.cpp <pool/reclaimer.h>
platform/threads.h "pevents/pevents.h"
pool/reclaimer.h "common/pool_settings.h"
pool/block_list.h "../common/singletons.h"
pevents/pevents.cpp "common/log.h"
pevents/pevents.h "platform/threads.h"
common/status.h "platform/mem_info.h"
common/log.h "pool/pool_limits.h"
external/rockit.h "common/status.h"
common/singletons.h "pool_limits.h"
END
    (check "$copy") || { echo "self-test: the restored tree does not pass" >&2; exit 1; }
}

case $1 in
--self-test) self_test "$2" ;;
*) check "$1" ;;
esac
