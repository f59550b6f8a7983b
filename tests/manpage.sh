#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Checks a man page of Quorvel (quorvel.1 or quorvel-server.8): usage: manpage.sh PAGE [GROFF]
#
# groff must format it without a single warning, at the usual width and at a narrow one, and
# the rendered page must hold its sections and an entry for each command, and the source must
# write the hyphens of options, dates and times as \-.
set -u

page=${1:-}
groff=${2:-groff}
if [[ -z $page || ! -r $page ]]; then
    echo "manpage.sh: usage: manpage.sh PAGE [GROFF] (got '$page')" >&2
    exit 2
fi
if ! command -v "$groff" >/dev/null; then
    echo "manpage.sh: $groff not found" >&2
    exit 2
fi
export LC_ALL=C

failures=0
fail()
{
    echo "FAIL: $*" >&2
    ((failures++))
}

# No warning, at the 78 columns of an 80-column terminal and at 60; and no line broken with a
# hyphen (U+2010) after something other than a letter, as "[-" before an option.
for width in 78 60; do
    warnings=$("$groff" -man -Tutf8 -ww -z -rLL="${width}n" "$page" 2>&1)
    status=$?
    if [[ $status -ne 0 ]]; then
        fail "groff exited with $status at $width columns"
    fi
    if [[ -n $warnings ]]; then
        fail "groff warns at $width columns:"
        printf '%s\n' "$warnings" >&2
    fi
    broken=$("$groff" -man -Tutf8 -P-cbou -rLL="${width}n" "$page" 2>/dev/null \
                 | grep -n $'[^[:alpha:]]\xe2\x80\x90$')
    if [[ -n $broken ]]; then
        fail "lines broken at a hyphen after a non-letter at $width columns:"
        printf '%s\n' "$broken" >&2
    fi
done

# The rendered text, without bold, underline or colour.
text=$("$groff" -man -Tutf8 -P-cbou "$page" 2>/dev/null)
if [[ -z $text ]]; then
    fail "groff rendered nothing"
fi

# What each page must hold: its header line, its sections, and the commands that have an entry
# of their own in COMMANDS (a subsection heading, then its synopsis).
case $(basename "$page") in
quorvel.1)
    header='QUORVEL(1)  *User Commands  *QUORVEL(1)'
    program=quorvel
    sections=(NAME SYNOPSIS DESCRIPTION COMMANDS "DATES AND TIMES" "ONE WRITER AT A TIME"
              "EXIT STATUS" FILES ENVIRONMENT EXAMPLES)
    entries=(start stop status list activities report export import setup help)
    ;;
quorvel-server.8)
    header='QUORVEL-SERVER(8)  *System Administration  *QUORVEL-SERVER(8)'
    program=quorvel-server
    sections=(NAME SYNOPSIS DESCRIPTION COMMANDS "EXIT STATUS" FILES ENVIRONMENT EXAMPLES
              "SEE ALSO")
    entries=()
    ;;
*)
    echo "manpage.sh: no checks known for $page" >&2
    exit 2
    ;;
esac

grep -q "^$header\$" <<<"$text" || fail "no header line matching \"$header\""
for section in "${sections[@]}"; do
    grep -qx "$section" <<<"$text" || fail "no section $section"
done

commands=$(sed -n '/^COMMANDS$/,/^[A-Z]/p' <<<"$text")
synopsis=$(sed -n '/^SYNOPSIS$/,/^DESCRIPTION$/p' <<<"$text")
for command in "${entries[@]}"; do
    if ! grep -qx "   $command" <<<"$commands"; then
        fail "no entry for the command $command in COMMANDS"
    elif ! grep -A1 -x "   $command" <<<"$commands" | grep -q "^       $program $command\\b"; then
        fail "the entry of $command does not begin with its synopsis"
    fi
    grep -q "^       $program $command\\b" <<<"$synopsis" \
        || fail "the command $command is not in SYNOPSIS"
done

# The server's page: every command of its --help in SYNOPSIS and under a heading of COMMANDS,
# and every option of "serve" described.
if [[ $program == quorvel-server ]]; then
    server=${3:-}
    if [[ -z $server || ! -x $server ]]; then
        echo "manpage.sh: the server's page is checked against the server: manpage.sh PAGE GROFF SERVER" >&2
        exit 2
    fi
    help=$("$server" --help)
    for command in $(sed -n '/^Commands:$/,/^$/s/^  \([a-z]\+\).*/\1/p' <<<"$help" | sort -u); do
        grep -q "^       quorvel-server.*\b$command\b" <<<"$synopsis" \
            || fail "the command $command is not in SYNOPSIS"
        grep -q "^   .*\b$command\b" <<<"$commands" \
            || fail "no heading of COMMANDS names the command $command"
    done
    for option in $("$server" serve --help | sed -n 's/^  \(--[a-z-]*\) <.*/\1/p'); do
        grep -q "^       $option\b" <<<"$text" || fail "the option $option of serve is not described"
    done
fi

# Options, dates and times are typed into a shell: the source writes their hyphens as \-,
# which renders as the hyphen-minus, where "-" may render as a hyphen (U+2010).
bad=$(grep -n -v '^\.\(\\"\|TH \)' "$page" | grep -E '(^[0-9]+:|[[:space:]["(|])-|[0-9]-[0-9]')
if [[ -n $bad ]]; then
    fail "options, dates or times not written with \\-:"
    printf '%s\n' "$bad" >&2
fi

if ((failures > 0)); then
    echo "manpage.sh: $failures checks failed" >&2
    exit 1
fi
echo "manpage.sh: the man page is fine"
