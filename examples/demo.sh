#!/usr/bin/env bash
# Shows a service and its clients at work, each a process of its own, and checks all that it shows.
#
# usage: examples/demo.sh BUILD_FOLDER
set -euo pipefail

bin=$(cd "${1:?usage: examples/demo.sh BUILD_FOLDER}/bin" && pwd)
for program in demoService rci; do
    [[ -x $bin/$program ]] || { echo "demo: $bin/$program is not built" >&2; exit 1; }
done

# A domain of its own: whatever else runs on this machine is neither seen nor disturbed.
parent=/dev/shm
[[ -d $parent && -w $parent ]] || parent=${TMPDIR:-/tmp}
work=$(mktemp -d "$parent/quoria-demo-XXXXXX")
export ITC_DOMAIN=$work/domain
PATH=$bin:$PATH
declare -A started # by process id, until wait has collected it: an id may not be anybody else's

clean_up() {
    local pid
    for pid in "${!started[@]}"; do
        kill -KILL "$pid"
    done
    wait
    rm -rf "$work"
}
trap clean_up EXIT

fail() {
    printf '\ndemo: NOT AS EXPECTED: %s\n' "$*" >&2
    exit 1
}

# collect PID CODE: waits for the end of a process and compares its exit code.
collect() {
    local code=0
    wait "$1" 2>>"$work/ignored" || code=$? # the shell would announce a kill
    unset "started[$1]"
    printf '   exit code %s\n' "$code"
    [[ $code == "$2" ]] || fail "exit code $code instead of $2"
}

chapter() {
    printf '\n== %s\n' "$*"
}

now_ms() {
    local us=${EPOCHREALTIME/[.,]/}
    echo $((us / 1000))
}

# Prints each line when it comes, with the time since the start of the command.
show_arrival() {
    local begin line
    begin=$(now_ms)
    while IFS= read -r line; do
        printf '   %4d ms   %s\n' $(($(now_ms) - begin)) "$line"
        printf '%s\n' "$line" >>"$work/output"
    done
}

# expect CODE OUTPUT ERRORS ARG...: runs `rci ARG...` and compares its exit code and both streams.
# OUTPUT and ERRORS are patterns.
expect() {
    local code=$1 output=$2 errors=$3 got_code got_output got_errors
    shift 3
    printf '$ rci %s\n' "$*"
    : >"$work/output"
    set +e
    rci "$@" 2>"$work/errors" | show_arrival
    got_code=${PIPESTATUS[0]}
    set -e
    got_output=$(<"$work/output")
    got_errors=$(<"$work/errors")
    [[ -z $got_errors ]] || printf '   (stderr)  %s\n' "$got_errors"
    printf '   exit code %s\n' "$got_code"
    [[ $got_code == "$code" ]] || fail "exit code $got_code instead of $code"
    # shellcheck disable=SC2053 # they are patterns
    [[ $got_output == $output ]] || fail "the output is not '$output'"
    # shellcheck disable=SC2053
    [[ $got_errors == $errors ]] || fail "standard error is not '$errors'"
}

# wait_for WHAT PATTERN ARG...: until the output of `rci ARG...` matches, for five seconds at most.
wait_for() {
    local what=$1 pattern=$2 attempt
    shift 2
    for attempt in {1..100}; do
        # shellcheck disable=SC2053
        [[ $(rci "$@" 2>&1) == $pattern ]] && return
        sleep 0.05
    done
    fail "$what did not happen within $((attempt / 20)) seconds"
}

# Starts `rci run ticker` behind descriptor 3 and reads three of its lines. The client's mailbox is
# named after its process, which exec keeps.
start_ticker() {
    local line tick
    mkfifo "$work/ticks"
    # shellcheck disable=SC2016 # the new shell's own process id is meant
    bash -c 'exec rci run ticker "rci:$$"' >"$work/ticks" 2>"$work/ticker-errors" &
    ticker=$!
    started[$ticker]=1
    exec 3<"$work/ticks"
    rm "$work/ticks"
    printf '$ rci run ticker rci:%s &\n' "$ticker"
    for tick in 1 2 3; do
        IFS= read -r -t 5 line <&3 || fail "no tick came"
        printf '             %s\n' "$line"
        [[ $line == "tick $tick" ]] || fail "this should be tick $tick"
    done
}

chapter "A service starts and offers its commands"
demoService &
service=$!
started[$service]=1
wait_for "the registration of all commands" \
    '*backup*countdown*launch*status*sum*ticker*' list
expect 0 "COMMAND*MAILBOX*PID*PROCESS*backup*$service*demoService*" '' list

chapter "A synchronous command takes arguments and gives a result"
expect 0 '42' '' run sum 1 2 39
expect 1 "sum: 'two' is no number" '' run sum 1 two

chapter "A concurrent command shows its output while it runs"
expect 0 $'5\n4\n3\n2\n1\nzero' '' run countdown 5

chapter "An asynchronous command is finished later, by another thread"
expect 0 $'backup: handed to the worker\nbackup: done by thread *' '' run backup

chapter "A command that fails, and one that nobody offers"
expect 2 'launch: there is no rocket' '' run launch
expect 127 '' 'No handler found for command: land' run land

chapter "A client is killed in the middle of its command"
start_ticker
expect 0 'tickers: 1 running, 0 abandoned by their clients' '' run status
printf '$ kill -KILL %s\n' "$ticker"
kill -KILL "$ticker"
collect "$ticker" 137
exec 3<&-

chapter "The service lives, has noticed, and has dropped the connection"
wait_for "the end of the ticker" 'tickers: 0 running*' run status
expect 0 'tickers: 0 running, 1 abandoned by their clients' '' run status
expect 0 '3' '' run sum 1 2

chapter "The service ends, and the client that it was serving is told"
start_ticker
printf '$ kill -TERM %s\n' "$service"
kill -TERM "$service"
collect "$ticker" 2
errors=$(<"$work/ticker-errors")
printf '   (stderr)  %s\n' "$errors"
[[ $errors == 'Lost connection to server' ]] || fail "the client was not told"
printf '   and the service:\n'
collect "$service" 0
expect 0 'COMMAND*' '' list

printf '\ndemo: everything was as expected\n'
