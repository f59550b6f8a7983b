#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Times "quorvel import" of a Timewarrior export into an empty personal set-up, at several
# sizes, to show that it grows linearly with the rows.
#
#   bench/import.sh [ROWS ...]          # default: 2000 4000 8000 16000 100000
#
# The rows are the first ROWS tasks of the 100 000-task benchmark history
# (../shared/bench/gen_dataset.py, seed 1, in /tmp/ds-100k unless it is there already),
# exported by timew. Everything is written in a temporary folder.
#
# This is a benchmark, not a test: it is not registered with CTest.
#
# Environment: QUORVEL (the binary), GENERATOR (gen_dataset.py), RUNS (5).

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
quorvel=${QUORVEL:-$root/build/default/bin/quorvel}
generator=${GENERATOR:-$root/../shared/bench/gen_dataset.py}
runs=${RUNS:-5}
dataset=/tmp/ds-100k

for tool in hyperfine timew python3; do
    command -v "$tool" >/dev/null || {
        echo "import.sh: $tool is missing (apt-get install hyperfine timewarrior python3)" >&2
        exit 1
    }
done
[[ -x $quorvel ]] || {
    echo "import.sh: no $quorvel; build it with cmake --build --preset default" >&2
    exit 1
}
if (($# == 0)); then
    set -- 2000 4000 8000 16000 100000
fi

export TZ=UTC
out=$(mktemp -d "${TMPDIR:-/tmp}/quorvel-import-bench.XXXXXX")
trap 'rm -rf "$out"' EXIT
[[ -d $dataset ]] || python3 "$generator" --out "$dataset" --tasks 100000 --seed 1 >/dev/null
TIMEWARRIORDB=$dataset/timewarrior timew export >"$out/all.json"

echo "| rows | quorvel import (median) | per 1000 rows |"
echo "|---|---|---|"
for rows in "$@"; do
    python3 - "$out/all.json" "$out/rows.json" "$rows" <<'PY'
import json, sys
tasks = json.load(open(sys.argv[1]))
json.dump(tasks[:int(sys.argv[3])], open(sys.argv[2], "w"))
PY
    export XDG_DATA_HOME=$out/data XDG_CONFIG_HOME=$out/config
    fresh="rm -rf $out/data $out/config && $quorvel setup personal >/dev/null"
    hyperfine --runs "$runs" --prepare "$fresh" --export-json "$out/result.json" \
        "$quorvel import $out/rows.json --category-from-first-sorted-tag" >/dev/null 2>&1
    python3 - "$out/result.json" "$rows" <<'PY'
import json, sys
median = json.load(open(sys.argv[1]))["results"][0]["median"]
rows = int(sys.argv[2])
print(f"| {rows} | {median:.3f} s | {1000 * median / rows * 1000:.1f} ms |")
PY
done
