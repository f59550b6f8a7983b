#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Checks that the catalogues are up to date with the code:
#   translations.sh LUPDATE SOURCES.lst INCLUDE_DIR CATALOGUE.ts...
#
# lupdate reads the same sources with the same options as the update_translations target, into
# a copy of each catalogue. A text of the code that the catalogue lacks comes out unfinished, a
# text the code no longer has comes out vanished or obsolete; either fails, as does an entry
# still waiting for its translation.
set -u

lupdate=${1:-}
sources=${2:-}
include=${3:-}
if [[ -z $lupdate || -z $sources || -z $include || $# -lt 4 ]]; then
    echo "translations.sh: usage: translations.sh LUPDATE SOURCES.lst INCLUDE_DIR CATALOGUE.ts..." >&2
    exit 2
fi
shift 3
if [[ ! -x $lupdate ]]; then
    echo "FAIL: lupdate not found at '$lupdate' (Debian package qt6-l10n-tools)" >&2
    exit 1
fi
if [[ ! -r $sources ]]; then
    echo "FAIL: cannot read $sources" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
for catalogue in "$@"; do
    name=$(basename "$catalogue")
    if [[ ! -r $catalogue ]]; then
        echo "FAIL: cannot read $catalogue" >&2
        ((failures++))
        continue
    fi
    copy=$work/$name
    cp "$catalogue" "$copy"
    if ! "$lupdate" "@$sources" -I "$include" -locations none -ts "$copy" >"$work/lupdate.log" 2>&1; then
        cat "$work/lupdate.log" >&2
        echo "FAIL: lupdate failed on $name" >&2
        ((failures++))
        continue
    fi
    cat "$work/lupdate.log"

    # The entries lupdate marked, each with the lines of its source text before it.
    offending=$(grep -B4 -E 'type="(unfinished|vanished|obsolete)"' "$copy")
    count=$(grep -c '<message' "$copy")
    if [[ -n $offending ]]; then
        echo "$offending" >&2
        echo "FAIL: $name is not up to date with the code: build the target" \
             "update_translations and translate the new entries (Qt Linguist)" >&2
        ((failures++))
    elif [[ $count -eq 0 ]]; then
        echo "FAIL: no texts found in the sources of $sources" >&2
        ((failures++))
    else
        echo "$name: all $count entries translated and in use"
    fi
done
[[ $failures -eq 0 ]]
