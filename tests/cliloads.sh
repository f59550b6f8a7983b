#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# The quorvel program needs QtCore alone: a command that reads the data file must not load the
# network, session-bus, keyring or widget libraries (they cost milliseconds and megabytes on
# every start).
#   cliloads.sh PROGRAM
set -u
program=${1:?usage: cliloads.sh PROGRAM}
if ! needed=$(readelf -d "$program" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); then
    echo "FAIL: cannot read the dynamic section of $program" >&2
    exit 1
fi
if ! grep -qx 'libQt6Core.so.6' <<<"$needed"; then
    echo "FAIL: $program does not link libQt6Core.so.6; it needs:" >&2
    echo "$needed" >&2
    exit 1
fi
extra=$(grep -E 'libQt6|keychain|libdbus|libssl|libcrypto' <<<"$needed" | grep -vx 'libQt6Core.so.6')
if [[ -n $extra ]]; then
    echo "FAIL: $program loads more than QtCore:" >&2
    echo "$extra" >&2
    exit 1
fi
echo "PASS: $program needs $(tr '\n' ' ' <<<"$needed")"
