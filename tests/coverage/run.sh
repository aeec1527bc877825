#!/usr/bin/env bash
# run.sh FOLDER JOBS: runs the tests in FOLDER, a build of the preset "coverage", prints which lines and
# branches of sw/ they reached, and fails when those are too few. docs/coverage.md says what is not
# reached, and why.
#
# Branches that only an exception takes are left out: behind each call that may throw, the compiler
# makes one. The tests themselves are not counted.
set -euo pipefail

folder=$1
jobs=$2
least_lines=95
least_branches=85

find "$folder" -name '*.gcda' -delete
# What the preset does not build does not use the modules; an installation is one of another build. What
# a library takes in and what a trace statement costs is not the same where every branch is counted.
ctest --test-dir "$folder" --parallel "$jobs" --output-on-failure \
    --exclude-regex '_NOT_BUILT$|\.smoke$|^(Model|Fuzz|Chaos|Installation|Exports|Imports)\.|^TraceStatement\.WhoseEventIsOff'

report=$folder/coverage.json
gcovr --root . --filter '^sw/[^/]+/(src|include)/' --exclude '^sw/trace/include/.*/traceProvider\.h' \
    --exclude-throw-branches --exclude-unreachable-branches -j "$jobs" --json "$report" "$folder/sw"
gcovr --root . --add-tracefile "$report" --branches --txt
gcovr --root . --add-tracefile "$report" --txt --print-summary \
    --fail-under-line "$least_lines" --fail-under-branch "$least_branches"
