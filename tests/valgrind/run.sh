#!/usr/bin/env bash
# run.sh FOLDER JOBS [all]: runs the tests of the modules in the build FOLDER under valgrind, and fails
# where it finds an invalid access, a decision on what was never set, or memory that nobody can release
# any more.
#
# Each program runs once and forks for each of its tests (see tests/support/src/testMain.cc); the forks
# stay under valgrind. Programs that a test starts run without it.
set -euo pipefail

folder=$1
jobs=$2

# Left out: lifetimeTest, which forks some thousand times; and, as they only start other programs and look
# at what these do, commandProcessTest, examplesTest, installTest, rciTest, traceTextTest, tracingTest.
programs=(
    timerTest commandUnitTest eventLoopTest activeObjectTest startupTest startupRegistrationTest
    traceTest itcMessageSubscriptionTest itcMailboxLocatorTest itcMailboxMonitorTest contractTest
    libraryContractTest rciPartsTest utilTest itcOperationsTest traceCaptureTest
    commandUnknownSizeTest tptTest
)
# With mailboxes of libitc, whose inbox of 1 GiB of addresses costs valgrind some seconds per process.
if [ "${3:-}" = all ]; then
    programs=(
        commandTest itcContractTest itcMailboxLocatorContractTest itcMailboxMonitorContractTest
        itcMessageSubscriptionContractTest "${programs[@]}"
    )
fi

# Tests left out, each with its reason.
left_out=(
    # Real time: valgrind runs one thread at a time, twenty times slower.
    'TimerManagerRealTime*'
    # valgrind 3.19 does not know pidfd_open().
    'WatchedProcess.ItsStatus*'
)

# Tests that replace operator new keep theirs: hence the soname-synonyms.
run_program() {
    local log=$folder/valgrind/$1.log status=0
    QUORIA_TEST_FORK=1 valgrind --quiet --leak-check=full --show-leak-kinds=definite \
        --errors-for-leak-kinds=definite --error-exitcode=99 --num-callers=30 --fair-sched=try \
        --soname-synonyms=somalloc=nouserintercepts \
        "$folder/bin/$1" --gtest_brief=1 --gtest_filter="-$filter" >"$log" 2>&1 || status=$?
    echo "$1: $(grep '^forked tests: ' "$log" || echo "ended with status $status"), $SECONDS s"
    [ "$status" -eq 0 ] || grep -E -A 30 '^==[0-9]+== |FAILED|Failure' "$log" | head -n 200
}
export -f run_program
export folder filter
filter=$(IFS=:; echo "${left_out[*]}")

rm -rf "$folder/valgrind"
mkdir -p "$folder/valgrind"
printf '%s\n' "${programs[@]}" | xargs -P "$jobs" -I{} bash -c 'run_program {}'

# In the words of CTest.
cat "$folder"/valgrind/*.log | awk -v programs="${#programs[@]}" '
    /^forked tests: / { passed += $3; failed += $5; ended += 1 }
    END {
        failed += programs - ended
        all = passed + failed
        printf "%d%% tests passed, %d tests failed out of %d\n", 100 * passed / all, failed, all
        exit failed != 0
    }'
