#!/usr/bin/env bash
# Shows a service and its clients at work, each a process of its own, and checks all that it shows.
#
# usage: examples/demo.sh BUILD_FOLDER
set -euo pipefail

bin=$(cd "${1:?usage: examples/demo.sh BUILD_FOLDER}/bin" && pwd)
for program in collector store rci; do
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
trap : KILL # keeps the shell from announcing which of its children were killed

fail() {
    printf '\ndemo: NOT AS EXPECTED: %s\n' "$*" >&2
    exit 1
}

# has_ended PID: whether there is nothing of it any more but, perhaps, its exit code.
has_ended() {
    local state=Z
    { read -r _ _ state _ <"/proc/$1/stat"; } 2>>"$work/ignored" || true
    [[ $state == Z ]]
}

# collect PID CODE: waits for the end of a process, half a minute at most, and compares its exit code.
collect() {
    local code=0
    for _ in {1..600}; do
        has_ended "$1" && break
        sleep 0.05
    done
    has_ended "$1" || fail "process $1 did not end"
    wait "$1" || code=$?
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
        now_ms >>"$work/times"
    done
}

# expect CODE OUTPUT ERRORS ARG...: runs `rci ARG...` and compares its exit code and both streams, as
# a whole, with OUTPUT and ERRORS, which are extended regular expressions.
expect() {
    local code=$1 output=$2 errors=$3 got_code got_output got_errors
    shift 3
    printf '$ rci %s\n' "$*"
    : >"$work/output"
    : >"$work/times"
    set +e
    timeout --foreground 30 rci "$@" 2>"$work/errors" | show_arrival
    got_code=${PIPESTATUS[0]}
    set -e
    got_output=$(<"$work/output")
    got_errors=$(<"$work/errors")
    [[ -z $got_errors ]] || printf '   (stderr)  %s\n' "$got_errors"
    printf '   exit code %s\n' "$got_code"
    [[ $got_code == "$code" ]] || fail "exit code $got_code instead of $code"
    is_like "$got_output" "$output" || fail "the output is not '$output'"
    is_like "$got_errors" "$errors" || fail "standard error is not '$errors'"
}

# is_like TEXT PATTERN: whether the whole of TEXT matches.
is_like() {
    [[ $1 =~ ^($2)$ ]]
}

# wait_for WHAT PATTERN ARG...: until the output of `rci ARG...` matches, for five seconds at most.
wait_for() {
    local what=$1 pattern=$2
    shift 2
    for _ in {1..200}; do
        is_like "$(timeout 10 rci "$@" 2>&1)" "$pattern" && return
        sleep 0.05
    done
    fail "$what did not happen in time"
}

# start PROGRAM [VARIABLE=VALUE...]: runs it in the background; $! is its process id.
start() {
    local program=$1
    shift
    printf '$ %s%s &\n' "${*:+$* }" "$program"
    env "$@" "$program" 2>"$work/$program-errors" &
    started[$!]=1
}

# end SIGNAL PID CODE: ends a process and compares its exit code.
end() {
    printf '$ kill -%s %s\n' "$1" "$2"
    kill "-$1" "$2"
    collect "$2" "$3"
}

# Starts `rci run samples ARG...` behind descriptor 3 and reads three of its lines. The word CLIENT
# among the arguments stands for the mailbox of this rci, which is named after its process id; exec
# keeps that.
start_follower() {
    local line
    mkfifo "$work/lines"
    # shellcheck disable=SC2016 # the new shell's own process id is meant
    bash -c 'exec rci run samples "${@/CLIENT/rci:$$}"' - "$@" \
        >"$work/lines" 2>"$work/follower-errors" &
    follower=$!
    started[$follower]=1
    exec 3<"$work/lines"
    rm "$work/lines"
    printf '$ rci run samples %s &\n' "${*/CLIENT/rci:$follower}"
    for _ in 1 2 3; do
        IFS= read -r -t 5 line <&3 || fail "no sample came"
        printf '             %s\n' "$line"
        is_like "$line" "$sample" || fail "this is no sample"
    done
}

# Patterns: a number, a sample as it is shown, some of them, and the list of commands without any.
n='[0-9]+'
sample="#$n  cpu $n\\.[0-9] %  memory $n MiB"
samples="$sample("$'\n'"$sample)*"
five="$sample("$'\n'"$sample){4}"
no_commands='COMMAND  MAILBOX  PID  PROCESS'

chapter "A collector with a component that can't do its work starts none of them"
start collector LOAD_MONITOR_PROC=/nowhere
collect $! 1
errors=$(<"$work/collector-errors")
printf '   (stderr)  %s\n' "${errors//$'\n'/$'\n'             }"
[[ $errors == "sampler: can't read the load from /nowhere"$'\n'*'none is started' ]] ||
    fail "it has not said why"
expect 0 "$no_commands" 'no command in mailbox domain .*' list

chapter "A collector starts, and waits for a store; there is none"
start collector
collector=$!
wait_for "the first sample" "store: none, stores found: 0, samples waiting: [1-9].*" run link
expect 0 "store: none, stores found: 0, samples waiting: $n" '' run link

chapter "A store starts; the collector finds it by its name and delivers"
start store
store=$!
wait_for "the delivery" 'store: there, stores found: 1, samples waiting: 0' run link
listed="COMMAND +MAILBOX +PID +PROCESS"
for command in followers interval link reset samples save watch; do
    process=store
    [[ $command == interval || $command == link || $command == watch ]] && process=collector
    listed+=$'\n'"$command +$n +${!process} +$process"
done
wait_for "the start of all components" "$listed" list
expect 0 "$listed" '' list
expect 0 "$samples" '' run samples

chapter "A synchronous command takes arguments and gives a result"
expect 1 'usage: interval .*' '' run interval soon
expect 0 'a sample every 100 ms' '' run interval 100

chapter "A concurrent command shows its output while it runs"
expect 0 $'1  [*.]{40}\n2  [*.]{40}\n3  [*.]{40}\n4  [*.]{40}\n5  [*.]{40}' '' run watch
mapfile -t times <"$work/times"
((times[4] - times[0] > 400)) || fail "the output came at once"

chapter "An asynchronous command ends when what it waits for has come"
expect 0 "$five" '' run samples --follow 5

chapter "... or when another thread has done its work"
expect 0 $'save: handed to the archive\n'"save: $n samples written" '' run save "$work/saved"
is_like "$(<"$work/saved")" "$samples" || fail "the file does not hold the samples"
printf '$ head -n 2 .../saved\n'
head -n 2 "$work/saved" | show_arrival

chapter "A command that fails, and one that nobody offers"
expect 2 $'save: handed to the archive\nsave: can\'t write /nowhere/saved: .*' '' \
    run save /nowhere/saved
expect 127 '' 'No handler found for command: launch \(in mailbox domain .*\)' run launch

chapter "A client is killed in the middle of its command"
start_follower --while CLIENT
expect 0 'followers: 1 now, 0 gone with their mailbox' '' run followers
end KILL "$follower" 137
exec 3<&-

chapter "The store lives, has noticed, and has dropped the connection"
wait_for "the end of the follower" 'followers: 0 now, 1 gone with their mailbox' run followers
expect 0 'followers: 0 now, 1 gone with their mailbox' '' run followers
expect 0 "forgot $n samples" '' run reset

chapter "The store is killed; the client that it was serving is told"
start_follower --follow 1000
end KILL "$store" 137
collect "$follower" 2
errors=$(<"$work/follower-errors")
printf '   (stderr)  %s\n' "$errors"
[[ $errors == 'Lost connection to server' ]] || fail "the client was not told"
exec 3<&-

chapter "The collector lives, keeps its samples, and waits for the next store"
expect 127 '' 'No handler found for command: samples \(in mailbox domain .*\)' run samples
wait_for "the loss of the store" 'store: none, stores found: 1, samples waiting: [1-9].*' run link
expect 0 "store: none, stores found: 1, samples waiting: $n" '' run link

chapter "The next store comes, and gets them"
start store
store=$!
wait_for "the delivery" 'store: there, stores found: 2, samples waiting: 0' run link
wait_for "the start of all its components" "$samples" run samples
expect 0 "$samples" '' run samples
expect 0 "$five" '' run samples --follow 5

chapter "Who follows for as long as the collector lives is done when that ends"
start_follower --while collector
end TERM "$collector" 0
collect "$follower" 0
exec 3<&-

chapter "The store ends when it is asked to"
end TERM "$store" 0
expect 0 "$no_commands" 'no command in mailbox domain .*' list

printf '\ndemo: everything was as expected\n'
