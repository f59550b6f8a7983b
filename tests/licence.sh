#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Checks that every source file of the tree names its licence: usage: licence.sh SOURCE_DIR
#
# A file counts when git tracks it (or, outside a git checkout, when it lies in the tree) and it
# is code: C++ sources and headers, scripts, CMake files and the packaging's scripts. Its first
# five lines must hold "SPDX-License-Identifier: GPL-3.0-or-later".
set -u

root=${1:-}
if [[ -z $root || ! -d $root ]]; then
    echo "licence.sh: usage: licence.sh SOURCE_DIR (got '$root')" >&2
    exit 2
fi
cd "$root" || exit 2

if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    files=$(git ls-files)
else
    files=$(find . -path ./build -prune -o -path ./.git -prune -o -type f -print | sed 's|^\./||')
fi

failures=0
checked=0
while IFS= read -r file; do
    case $file in
        *.cpp | *.h | *.c | *.sh | *.cmake | *.py | CMakeLists.txt | */CMakeLists.txt) ;;
        scripts/* | .ci/* | debian/rules | debian/*.postinst | debian/*.postrm) ;;
        *) continue ;;
    esac
    [[ -f $file ]] || continue
    ((checked++))
    if ! head -n 5 "$file" | grep -q 'SPDX-License-Identifier: GPL-3.0-or-later'; then
        echo "FAIL: $file has no SPDX-License-Identifier: GPL-3.0-or-later line at its top" >&2
        ((failures++))
    fi
done <<<"$files"

if ((checked == 0)); then
    echo "FAIL: no source file found under $root" >&2
    exit 1
fi
if ((failures > 0)); then
    echo "$failures of $checked source files lack their licence line" >&2
    exit 1
fi
echo "all $checked source files name their licence"
