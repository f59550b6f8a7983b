#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Checks the bash completion of quorvel: usage: completion.sh QUORVEL.BASH-COMPLETION
#
# Each case sets COMP_LINE, COMP_POINT, COMP_WORDS and COMP_CWORD as bash does for the line
# typed so far, calls _quorvel and compares COMPREPLY with the expected words (in any order).
# The command "quorvel activities" is a shell function here, so no program is needed.
set -u

completion=${1:-}
if [[ -z $completion || ! -r $completion ]]; then
    echo "completion.sh: usage: completion.sh QUORVEL.BASH-COMPLETION (got '$completion')" >&2
    exit 2
fi
completion=$(cd "$(dirname "$completion")" && pwd)/$(basename "$completion")

if ! bash -n "$completion"; then
    echo "FAIL: $completion is not valid bash" >&2
    exit 1
fi
# shellcheck source=/dev/null
source "$completion" || { echo "FAIL: sourcing $completion failed" >&2; exit 1; }
if [[ $(complete -p quorvel 2>&1) != "complete -F _quorvel quorvel" ]]; then
    echo "FAIL: quorvel is not completed by _quorvel: $(complete -p quorvel 2>&1)" >&2
    exit 1
fi

# The programs the checks use, found before a case takes PATH away.
sort=$(type -P sort) rm=$(type -P rm)
if [[ -z $sort || -z $rm ]]; then
    echo "completion.sh: sort and rm are needed" >&2
    exit 2
fi

# The folder of the file completions: known files only.
work=$(mktemp -d) || exit 2
trap '"$rm" -rf "$work"' EXIT
cd "$work" || exit 2
mkdir reports
touch week.qvreport notes.txt tw.json twelve.csv

# The default of an interactive bash.
COMP_WORDBREAKS=$' \t\n"\'><=;|&(:'

activities=("Project Alpha Development" "Project Alpha Documentation" "Home Project Beta")
running=("Project Alpha Development" "Home Project Beta")
# shellcheck disable=SC2317 # called by the completion
quorvel()
{
    if [[ ${1-} == activities ]]; then
        printf '%s\n' "${activities[@]}"
    elif [[ ${1-} == status ]]; then
        printf '%s\t1:17\n' "${running[@]}"
    fi
}

failures=0
cases=0

# expect LINE WORD... -- EXPECTED...
# LINE is the line up to the cursor; the WORDs are COMP_WORDS as bash splits LINE (the last
# one is the word under the cursor, which may itself be "--": the last "--" separates).
expect()
{
    local line=$1
    shift
    local -a args=("$@") words=() wanted=()
    local i separator=-1
    for ((i = 0; i < ${#args[@]}; i++)); do
        [[ ${args[i]} == -- ]] && separator=$i
    done
    if ((separator < 1)); then
        echo "completion.sh: bad case [$line]" >&2
        exit 2
    fi
    words=("${args[@]:0:separator}")
    wanted=("${args[@]:separator+1}")
    ((cases++))

    COMP_LINE=$line
    COMP_POINT=${#line}
    COMP_WORDS=("${words[@]}")
    COMP_CWORD=$((${#words[@]} - 1))
    COMPREPLY=(unset)
    _quorvel quorvel "${words[COMP_CWORD]}" "${words[COMP_CWORD - 1]}" >"$work/output" 2>&1
    local status=$?

    local got expected output
    got=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C "$sort")
    expected=$(printf '%s\n' "${wanted[@]}" | LC_ALL=C "$sort")
    output=$(<"$work/output")
    if [[ $status -ne 0 ]]; then
        echo "FAIL: [$line] _quorvel returned $status" >&2
        ((failures++))
    elif [[ -n $output ]]; then
        echo "FAIL: [$line] _quorvel printed: $output" >&2
        ((failures++))
    elif [[ $got != "$expected" ]]; then
        echo "FAIL: [$line]" >&2
        echo "  expected:$(printf ' %q' "${wanted[@]}")" >&2
        echo "  got:     $(printf ' %q' "${COMPREPLY[@]}")" >&2
        ((failures++))
    fi
}

# The commands, and the saved reports and folders the window opens.
expect 'quorvel st' quorvel st -- start status stop
expect 'quorvel ' quorvel '' -- activities export help import list report setup start status stop \
    reports week.qvreport
expect 'quorvel w' quorvel w -- week.qvreport
expect 'quorvel --v' quorvel --v -- --version
expect 'quorvel frobnicate ' quorvel frobnicate '' --

# The kind of report and the options of each command.
expect 'quorvel report ' quorvel report '' -- summary timesheet
expect 'quorvel report summary --f' quorvel report summary --f -- --format --from
expect 'quorvel report summary ' quorvel report summary '' -- \
    --from --to --decimal --zero --format --help
expect 'quorvel report timesheet --from monday --to today --' \
    quorvel report timesheet --from monday --to today -- -- --decimal --zero --format --help
expect 'quorvel start Pro --' quorvel start Pro -- -- --at --category --force --help
expect 'quorvel status ' quorvel status '' -- --format --help
expect 'quorvel list --' quorvel list -- -- --from --to --help
expect 'quorvel activities ' quorvel activities '' -- --help
expect 'quorvel export --' quorvel export -- -- --from --to --format --help
expect 'quorvel import tw.json --' quorvel import tw.json -- -- \
    --format --category --category-from-first-sorted-tag --help
expect 'quorvel import tw.json --category-from-first-sorted-tag --c' \
    quorvel import tw.json --category-from-first-sorted-tag --c -- --category
expect 'quorvel import tw.json --category Work --' \
    quorvel import tw.json --category Work -- -- --format --category-from-first-sorted-tag --help
# The option's earlier name still works, but is never offered, and counts as the option given.
expect 'quorvel import tw.json --category-from-f' \
    quorvel import tw.json --category-from-f -- --category-from-first-sorted-tag
expect 'quorvel import tw.json --category-from-first-tag --' \
    quorvel import tw.json --category-from-first-tag -- -- --format --category --help
expect 'quorvel help re' quorvel help re -- report
expect 'quorvel se' quorvel se -- setup
expect 'quorvel setup ' quorvel setup '' -- personal group
expect 'quorvel setup group --' quorvel setup group -- -- \
    --sample --server --user --yes --force --help
expect 'quorvel setup group --server h:8080 --user ' quorvel setup group --server h:8080 --user '' --
expect 'quorvel setup group --server h:8080 --user bob --' \
    quorvel setup group --server h:8080 --user bob -- -- --sample --yes --force --help
expect 'quorvel help report ' quorvel help report '' -- --help

# The values of --format, per command.
expect 'quorvel status --format ' quorvel status --format '' -- text json
expect 'quorvel export --format ' quorvel export --format '' -- csv json
expect 'quorvel import tw.json --format ' quorvel import tw.json --format '' -- csv json
expect 'quorvel report summary --format ' quorvel report summary --format '' -- html text csv
expect 'quorvel report summary --format t' quorvel report summary --format t -- text

# Days for --from, --to and --at; nothing for --category.
expect 'quorvel list --from ' quorvel list --from '' -- \
    today yesterday tomorrow monday tuesday wednesday thursday friday saturday sunday
expect 'quorvel export --to t' quorvel export --to t -- today tomorrow tuesday thursday
expect 'quorvel stop --at yes' quorvel stop --at yes -- yesterday
expect 'quorvel start Pro --at tom' quorvel start Pro --at tom -- tomorrow
expect 'quorvel stop --at t' quorvel stop --at t -- today tomorrow tuesday thursday
expect 'quorvel start Chess --category ' quorvel start Chess --category '' --

# Files to import.
expect 'quorvel import tw' quorvel import tw -- tw.json twelve.csv

# Activities, with their blanks escaped when no quote is open.
expect 'quorvel start Pro' quorvel start Pro -- \
    'Project\ Alpha\ Development' 'Project\ Alpha\ Documentation'
expect 'quorvel start ' quorvel start '' -- \
    'Project\ Alpha\ Development' 'Project\ Alpha\ Documentation' 'Home\ Project\ Beta'
expect 'quorvel start Project\ Alpha\ Doc' quorvel start 'Project\ Alpha\ Doc' -- \
    'Project\ Alpha\ Documentation'
expect 'quorvel stop home' quorvel stop home -- 'Home\ Project\ Beta'
expect 'quorvel start Home\ Project\ Beta ' quorvel start 'Home\ Project\ Beta' '' -- \
    --at --category --force --help
# ... and as they are after an opening quote, which readline closes.
expect 'quorvel start "Project Alpha D' quorvel start '"Project Alpha D' -- \
    'Project Alpha Development' 'Project Alpha Documentation'
# Stop offers the running tasks' activities only.
expect 'quorvel stop ' quorvel stop '' -- 'Project\ Alpha\ Development' 'Home\ Project\ Beta'
expect 'quorvel stop Project\ Alpha\ D' quorvel stop 'Project\ Alpha\ D' -- \
    'Project\ Alpha\ Development'
expect "quorvel stop 'Pro" quorvel stop "'Pro" -- 'Project Alpha Development'
expect 'quorvel stop Project\ Alpha\ Doc' quorvel stop 'Project\ Alpha\ Doc' --
# A time that bash splits at its colon is one argument: stop has no activity yet.
expect 'quorvel stop --at 09:30 ' quorvel stop --at 09 : 30 '' -- \
    'Project\ Alpha\ Development' 'Home\ Project\ Beta'
expect 'quorvel start Pro --at 09:30 --c' quorvel start Pro --at 09 : 30 --c -- --category

# Names with characters that need more than a backslash before a blank.
# shellcheck disable=SC2016 # the $ is part of the names
activities=("Bob's \"Garage\"" 'Cost $5' 'Client: Alpha' 'Client: Beta' "Smiths'")
expect 'quorvel start Bo' quorvel start Bo -- "Bob\\'s\\ \\\"Garage\\\""
expect "quorvel start 'Bo" quorvel start "'Bo" -- "Bob'\\''s \"Garage\""
# A name that ends with the quote character: readline would take that for the closing quote.
expect 'quorvel start "Bo' quorvel start '"Bo' -- 'Bob'"'"'s \"Garage\""'
expect "quorvel start 'Smi" quorvel start "'Smi" -- "Smiths'\\'''"
expect 'quorvel start "Smi' quorvel start '"Smi' -- "Smiths'"
expect 'quorvel start Smi' quorvel start Smi -- "Smiths\\'"
# shellcheck disable=SC2016
expect 'quorvel start "Co' quorvel start '"Co' -- 'Cost \$5'
# shellcheck disable=SC2016
expect 'quorvel start Co' quorvel start Co -- 'Cost\ \$5'
# Readline replaces only what follows the colon, which bash took as a word of its own.
expect 'quorvel start Client:' quorvel start Client : -- '\ Alpha' '\ Beta'
expect 'quorvel start Client:\ B' quorvel start Client ':\ B' -- '\ Beta'
expect 'quorvel start "Client: B' quorvel start '"Client: B' -- 'Client: Beta'
# ... unless the user took the colon out of COMP_WORDBREAKS.
COMP_WORDBREAKS=$' \t\n"\'><=;|&('
expect 'quorvel start Client:\ B' quorvel start 'Client:\ B' -- 'Client:\ Beta'

# Without a quorvel to ask, no activity, and no error on the terminal.
unset -f quorvel
# shellcheck disable=SC2123 # no program is found on purpose
PATH=$work/no-such-folder
hash -r
expect 'quorvel start Pro' quorvel start Pro --
expect 'quorvel stop ' quorvel stop '' -- --at --force --help

if ((failures > 0)); then
    echo "completion.sh: $failures of $cases cases failed" >&2
    exit 1
fi
echo "completion.sh: all $cases cases passed"
