#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Copyright The Quorvel developers
#
# Checks that the period reports decide their rows in one place:
#   reportrows.sh SOURCE_DIR
#
# ReportData::collect() alone decides which rows show (rowShown); the renderers write what it
# collected and never see the document or its tasks.
set -u

src=${1:-}
if [[ -z $src || ! -d $src/src/reports ]]; then
    echo "reportrows.sh: usage: reportrows.sh SOURCE_DIR" >&2
    exit 2
fi
cd "$src" || exit 2
failures=0

deciders=$(grep -rlw rowShown src)
if [[ $deciders != src/reports/ReportData.cpp ]]; then
    echo "FAIL: rowShown should appear in src/reports/ReportData.cpp only, not in:" >&2
    echo "$deciders" >&2
    ((failures++))
fi
for renderer in src/reports/ReportHtml.* src/reports/ReportCsv.* src/reports/ReportPlainText.*; do
    if grep -qE 'QuorvelDocument|QVTask|model/' "$renderer"; then
        echo "FAIL: $renderer reads the document; a renderer takes only ReportData" >&2
        ((failures++))
    fi
done
[[ $failures -eq 0 ]] || exit 1
echo "PASS: report rows decided in one place"
