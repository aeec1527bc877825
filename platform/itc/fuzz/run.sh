#!/usr/bin/env bash
# run.sh FOLDER SECONDS: lets libFuzzer loose on both targets at once for so long, prints the figures of
# each, and fails if one of them broke. What is new goes to FOLDER/found, what breaks a target to FOLDER.
set -euo pipefail

folder=$1
seconds=$2
corpus=$(dirname "$0")/corpus

fuzz() {
    local target=$1 name=${1,}
    mkdir -p "$folder/found/$name"
    "$folder/bin/itcFuzz$target" "-max_total_time=$seconds" -max_len=4096 -timeout=60 \
        -print_final_stats=1 -verbosity=0 "-artifact_prefix=$folder/$name-" \
        "$folder/found/$name" "$corpus/$name" >"$folder/$name.log" 2>&1
}

fuzz Inbox &
inbox=$!
fuzz Domain &
domain=$!
result=0
wait "$inbox" || result=$?
wait "$domain" || result=$?
for name in inbox domain; do
    echo "== $name"
    cat "$folder/$name.log"
done
exit "$result"
