#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Times the quorvel command line against Timewarrior (timew) on the benchmark histories.
#
#   bench/cli.sh [DATASET_DIR ...]        # default: /tmp/ds-10k /tmp/ds-100k /tmp/ds-300k
#
# A dataset folder holds app105.txt (Quorvel's data file) and timewarrior/ (the same history
# as a Timewarrior database), as ../shared/bench/gen_dataset.py writes them. A missing folder
# whose name ends in -<N>k is generated with N thousand tasks (seed 1).
#
# Each dataset is copied into private XDG folders (and a private Timewarrior database) in a
# temporary folder; nothing of yours is read or written. One task is started there, so that
# the data file has been saved once by the program and a task runs, as for a status bar.
#
# This is a benchmark, not a test: it is not registered with CTest.
#
# The year's report is also broken down into its steps inside one process (bench_clireport:
# read, collect, render, write); what the whole process takes beyond them is its start and end.
#
# Environment: QUORVEL (the binary), EMPTYQT (an empty Qt program built like it,
# bench_emptyqt), QTLOADED (QtCore loaded with no application object, bench_qtloaded), PHASES
# (bench_clireport), GENERATOR (gen_dataset.py), YEAR (the report's year, 2025), WARMUP (3),
# RUNS (20), MEM_RUNS (5).

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
quorvel=${QUORVEL:-$root/build/default/bin/quorvel}
emptyqt=${EMPTYQT:-$root/build/default/bench/bench_emptyqt}
qtloaded=${QTLOADED:-$root/build/default/bench/bench_qtloaded}
phases=${PHASES:-$root/build/default/bench/bench_clireport}
generator=${GENERATOR:-$root/../shared/bench/gen_dataset.py}
year=${YEAR:-2025}
warmup=${WARMUP:-3}
runs=${RUNS:-20}
mem_runs=${MEM_RUNS:-5}
start_at="2026-10-31T16:00"     # after the last task of every generated history

# Targets: timew's median divided by quorvel's (the report's is higher at 100 000 tasks, see
# report_target_for), and how much longer than an empty Qt program status may take.
report_target=10
report_target_100k=20
export_target=10
status_over_empty_ms=2

report_target_for() {
    if [[ $1 == 100000 ]]; then echo "$report_target_100k"; else echo "$report_target"; fi
}

die() {
    echo "cli.sh: $*" >&2
    exit 1
}

for tool in hyperfine timew; do
    command -v "$tool" >/dev/null ||
        die "$tool is missing; install it with: apt-get install hyperfine timewarrior"
done
[[ -x /usr/bin/time ]] || die "/usr/bin/time is missing; install it with: apt-get install time"
command -v python3 >/dev/null || die "python3 is missing"
[[ -x $quorvel ]] || die "no $quorvel; build it with:
  cmake --preset default && cmake --build --preset default --target quorvel"
[[ -x $emptyqt ]] || die "no $emptyqt; build it with:
  cmake --build --preset default --target bench_emptyqt"
[[ -x $qtloaded ]] || die "no $qtloaded; build it with:
  cmake --build --preset default --target bench_qtloaded"
[[ -x $phases ]] || die "no $phases; build it with:
  cmake --build --preset default --target bench_clireport"

if (($# == 0)); then
    set -- /tmp/ds-10k /tmp/ds-100k /tmp/ds-300k
fi

export TZ=UTC
out=$(mktemp -d "${TMPDIR:-/tmp}/quorvel-cli-bench.XXXXXX")
trap 'rm -rf "$out/work"' EXIT
rows=()          # Markdown table rows, printed at the end
memory_rows=()
phase_rows=()
warnings=()

# The median of a hyperfine result (index 0 or 1) in milliseconds.
median_ms() {
    python3 - "$1" "$2" <<'EOF'
import json, sys
result = json.load(open(sys.argv[1]))["results"][int(sys.argv[2])]
print(f"{result['median'] * 1000:.1f}")
EOF
}

# Warns when a hyperfine result is spread widely (standard deviation over a quarter of the
# mean): the machine was probably busy, and the pair is worth running again.
check_spread() {
    local json=$1 label=$2
    local wide
    wide=$(python3 - "$json" <<'EOF'
import json, sys
for r in json.load(open(sys.argv[1]))["results"]:
    if r["stddev"] > 0.25 * r["mean"]:
        print(f"{r['command']}: mean {r['mean'] * 1000:.1f} ms, stddev {r['stddev'] * 1000:.1f} ms")
EOF
    )
    if [[ -n $wide ]]; then
        warnings+=("$label: wide spread: $wide")
    fi
}

# "a / b" with one decimal.
ratio() {
    python3 -c "import sys; print(f'{float(sys.argv[1]) / float(sys.argv[2]):.1f}')" "$1" "$2"
}

at_least() {
    python3 -c "import sys; print('yes' if float(sys.argv[1]) >= float(sys.argv[2]) else 'no')" "$1" "$2"
}

below() {
    python3 -c "import sys; print('yes' if float(sys.argv[1]) < float(sys.argv[2]) else 'no')" "$1" "$2"
}

# The median peak memory (maximum resident set, MiB) of MEM_RUNS runs of a command.
peak_memory_mib() {
    local kib=()
    local i
    for ((i = 0; i < mem_runs; i++)); do
        /usr/bin/time -f %M -o "$out/time.txt" "$@" >/dev/null
        kib+=("$(tail -n 1 "$out/time.txt")")
    done
    python3 -c "import statistics, sys; print(f'{statistics.median(map(int, sys.argv[1:])) / 1024:.1f}')" "${kib[@]}"
}

# Times two commands side by side in one hyperfine run, saved as part "$1" of the
# history in $name; sets mq and mt to the medians of the first and the second.
side_by_side() {
    local json=$out/$1-$name.json
    "${hf[@]}" --export-json "$json" -n "$2" "$3" -n "$4" "$5"
    check_spread "$json" "$name $1"
    mq=$(median_ms "$json" 0)
    mt=$(median_ms "$json" 1)
}

# Runs a command once, failing on a non-zero exit, and warns about anything on stderr.
sanity_run() {
    local label=$1
    shift
    "$@" >/dev/null 2>"$out/stderr.txt" || die "$label failed: $* (exit $?): $(cat "$out/stderr.txt")"
    if [[ -s $out/stderr.txt ]]; then
        warnings+=("$label wrote to stderr: $(head -c 300 "$out/stderr.txt")")
    fi
}

# Generates a dataset folder named *-<N>k when it is missing.
ensure_dataset() {
    local dir=$1
    if [[ -f $dir/app105.txt && -d $dir/timewarrior ]]; then
        return
    fi
    [[ $dir =~ -([0-9]+)k$ ]] || die "$dir holds no dataset, and its name gives no task count (-<N>k)"
    [[ -f $generator ]] || die "no generator at $generator"
    local tasks=$((BASH_REMATCH[1] * 1000))
    echo "Generating $dir ($tasks tasks)…"
    python3 "$generator" --out "$dir" --tasks "$tasks" --seed 1
}

q=$(printf '%q' "$quorvel")
first=${year}-01-01
last=${year}-12-31
next_year=$((year + 1))-01-01

for dir in "$@"; do
    ensure_dataset "$dir"
    name=$(basename "$dir")
    tasks=$(sed -n 's/^tasks: //p' "$dir/MANIFEST.txt" 2>/dev/null || true)
    tasks=${tasks:-$name}
    span="$(sed -n 's/^first_task: //p' "$dir/MANIFEST.txt" 2>/dev/null || true) to $(sed -n 's/^last_task_end: //p' "$dir/MANIFEST.txt" 2>/dev/null || true)"
    echo
    echo "=== $name: $tasks tasks, $span ==="

    # Private folders: the data file, personal mode, an empty runtime folder (no window's
    # socket) and a copy of the Timewarrior database (timew writes into its folder).
    work=$out/work/$name
    mkdir -p "$work/data/quorvelqpe" "$work/config/Quorvel" "$work/run"
    chmod 700 "$work/run"
    cp "$dir/app105.txt" "$work/data/quorvelqpe/quorvelqpe.dat"
    printf '[LocalSettings]\nmode=1\n' >"$work/config/Quorvel/quorvelqpe.conf"
    cp -r "$dir/timewarrior" "$work/timewarrior"
    export XDG_DATA_HOME=$work/data XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
    export TIMEWARRIORDB=$work/timewarrior

    # One save through the program, which leaves the note status reads, and a running task.
    activity=$("$quorvel" activities | sed -n 1p)
    [[ -n $activity ]] || die "$name: quorvel activities listed nothing"
    "$quorvel" start "$activity" --at "$start_at" >/dev/null
    note=$work/data/quorvelqpe/quorvelqpe.dat.running
    [[ -f $note ]] || die "$name: the save left no $note"
    # And one running in Timewarrior, whose bare command is its status.
    timew start "$start_at" bench >/dev/null

    report_q=("$quorvel" report summary --from "$first" --to "$last")
    report_t=(timew summary "$first" - "$next_year")
    export_q=("$quorvel" export --format json)
    export_t=(timew export)
    # Timewarrior has no list of its own; its export is what prints every interval.
    list_q=("$quorvel" list)
    # The year's time sheet in HTML, tens of megabytes; timew summary lists the same days.
    sheet_q=("$quorvel" report timesheet --from "$first" --to "$last")
    sanity_run "$name: quorvel report" "${report_q[@]}"
    sanity_run "$name: timew summary" "${report_t[@]}"
    sanity_run "$name: quorvel export" "${export_q[@]}"
    sanity_run "$name: timew export" "${export_t[@]}"
    sanity_run "$name: quorvel status" "$quorvel" status
    sanity_run "$name: quorvel list" "${list_q[@]}"
    sanity_run "$name: quorvel time sheet" "${sheet_q[@]}"

    hf=(hyperfine -N --output=pipe --warmup "$warmup" --runs "$runs")

    side_by_side report "quorvel report summary" "$q report summary --from $first --to $last" \
        "timew summary" "timew summary $first - $next_year"
    r=$(ratio "$mt" "$mq")
    target=$(report_target_for "$tasks")
    rows+=("| $tasks | report summary $year | $mq ms | $mt ms | ${r}× | ≥ ${target}× | $(at_least "$r" "$target") |")

    # The same report's steps inside one process; the rest of the whole process's median is
    # its start and end.
    "$phases" "$work/data/quorvelqpe/quorvelqpe.dat" "$first" "$last" --runs "$runs" \
        >"$out/phases-$name.txt" || die "$name: $phases failed"
    phase_rows+=("$(python3 - "$out/phases-$name.txt" "$tasks" "$mq" <<'EOF'
import re, sys
text = open(sys.argv[1]).read()
ms = {m.group(1): float(m.group(2)) for m in re.finditer(r"^  (\w+) +([0-9.]+) ms$", text, re.M)}
whole = float(sys.argv[3])
rest = whole - ms["together"]
print(f"| {sys.argv[2]} | {whole:.1f} ms | {rest:.1f} ms | {ms['read']:.2f} ms | "
      f"{ms['collect']:.2f} ms | {ms['render']:.2f} ms | {ms['write']:.2f} ms |")
EOF
    )")

    side_by_side export "quorvel export --format json" "$q export --format json" \
        "timew export" "timew export"
    r=$(ratio "$mt" "$mq")
    rows+=("| $tasks | export (JSON) | $mq ms | $mt ms | ${r}× | ≥ ${export_target}× | $(at_least "$r" "$export_target") |")

    side_by_side list "quorvel list" "$q list" "timew export" "timew export"
    rows+=("| $tasks | list (timew: export) | $mq ms | $mt ms | $(ratio "$mt" "$mq")× | — | — |")

    side_by_side timesheet "quorvel report timesheet" \
        "$q report timesheet --from $first --to $last" \
        "timew summary" "timew summary $first - $next_year"
    rows+=("| $tasks | report timesheet $year (timew: summary) | $mq ms | $mt ms | $(ratio "$mt" "$mq")× | — | — |")

    # Side by side with the empty Qt program, whose start is the floor.
    side_by_side status "quorvel status" "$q status" \
        "empty Qt program" "$(printf '%q' "$emptyqt")"
    me=$mt
    limit=$(python3 -c "import sys; print(f'{float(sys.argv[1]) + float(sys.argv[2]):.1f}')" "$me" "$status_over_empty_ms")
    rows+=("| $tasks | status (note); empty Qt program $me ms | $mq ms | — | — | < $limit ms | $(below "$mq" "$limit") |")

    # Weighed here, while the note is there for status to read; timew alone shows what runs.
    status_pq=$(peak_memory_mib "$quorvel" status)
    status_pt=$(peak_memory_mib timew)

    # Without the note, status reads the whole data file.
    rm "$note"
    sanity_run "$name: quorvel status without the note" "$quorvel" status
    [[ ! -e $note ]] || die "$name: status wrote the note again"
    json=$out/status-nonote-$name.json
    "${hf[@]}" --export-json "$json" -n "quorvel status (no note)" "$q status"
    check_spread "$json" "$name status without the note"
    mq=$(median_ms "$json" 0)
    rows+=("| $tasks | status (no note) | $mq ms | — | — | — | — |")

    echo "Peak memory, median of $mem_runs runs each…"
    pe=$(peak_memory_mib "$emptyqt")
    # What loading QtCore alone weighs: the rest of the empty program's is its application
    # object, the room a command has at 10 000 tasks.
    pl=$(peak_memory_mib "$qtloaded")
    for pair in report timesheet export list status; do
        if [[ $pair == report ]]; then
            pq=$(peak_memory_mib "${report_q[@]}")
            pt=$(peak_memory_mib "${report_t[@]}")
            summary_t=$pt
        elif [[ $pair == timesheet ]]; then
            pq=$(peak_memory_mib "${sheet_q[@]}")
            pt=$summary_t
        elif [[ $pair == export ]]; then
            pq=$(peak_memory_mib "${export_q[@]}")
            pt=$(peak_memory_mib "${export_t[@]}")
        elif [[ $pair == list ]]; then
            pq=$(peak_memory_mib "${list_q[@]}")
            pt=$(peak_memory_mib "${export_t[@]}")
        else
            pq=$status_pq
            pt=$status_pt
        fi
        # Below Timewarrior's; at 10 000 tasks, where the start weighs most, at most the
        # empty Qt program's.
        if [[ $tasks == 10000 ]]; then
            memory_rows+=("| $tasks | $pair | $pq MiB | $pt MiB | $pe MiB | $pl MiB | ≤ $pe MiB | $(python3 -c "import sys; print('yes' if float(sys.argv[1]) <= float(sys.argv[2]) else 'no')" "$pq" "$pe") |")
        else
            memory_rows+=("| $tasks | $pair | $pq MiB | $pt MiB | $pe MiB | $pl MiB | < $pt MiB | $(below "$pq" "$pt") |")
        fi
    done
done

echo
echo "## Results ($(date +%F), $(nproc) cores, TZ=UTC, hyperfine medians of $runs runs after $warmup warm-up runs)"
echo
echo "| Tasks | Command | quorvel | timew | timew / quorvel | Target | Met |"
echo "|---|---|---|---|---|---|---|"
printf '%s\n' "${rows[@]}"
echo
echo "| Tasks | report summary $year, whole process | start and end | read | collect | render | write |"
echo "|---|---|---|---|---|---|---|"
printf '%s\n' "${phase_rows[@]}"
echo
echo "| Tasks | Command | Peak memory: quorvel | timew | empty Qt program | QtCore loaded | Target | Met |"
echo "|---|---|---|---|---|---|---|---|"
printf '%s\n' "${memory_rows[@]}"
if ((${#warnings[@]} > 0)); then
    echo
    echo "Warnings:"
    printf -- '- %s\n' "${warnings[@]}"
fi
echo
echo "hyperfine's JSON results: $out"
