#!/bin/sh
# Counts what a trace statement executes while no tracer has enabled its event. That must be one
# load, one test and one branch, and at most the load of the tracepoint's address besides, where the
# compiler does not keep it. Without valgrind the exit code is 77.
#
# usage: countStatement.sh PROGRAM    (the program of countedLoops.cc)
set -eu
program=$1
rounds=1000

if ! command -v valgrind >/dev/null; then
    echo "not counted: valgrind is not installed"
    exit 77
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Without what debuggers want to know: valgrind can't read all that compilers write.
copies="$folder/copies"
mkdir "$copies"
for file in "$program" $(ldd "$program" | awk '/^[[:space:]]*lib(quoria|itc|tpt)\./ { print $3 }'); do
    objcopy --strip-debug "$file" "$copies/$(basename "$file")"
done

# Prints the instructions, loads and conditional branches of a function.
count() {
    if ! LD_LIBRARY_PATH="$copies${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" LTTNG_HOME=/nonexistent \
        valgrind --tool=callgrind --cache-sim=yes --branch-sim=yes --toggle-collect="$1" \
        --callgrind-out-file="$folder/counts" "$copies/$(basename "$program")" \
        >"$folder/log" 2>&1; then
        cat "$folder/log" >&2
        exit 1
    fi
    awk '/^events:/  { for (i = 2; i <= NF; ++i) column[$i] = i }
         /^summary:/ { print $column["Ir"], $column["Dr"], $column["Bc"]; exit }' "$folder/counts"
}

with=$(count loopWithStatement)
without=$(count loopWithoutStatement)
echo "$with $without $rounds" | awk '{
    instructions = ($1 - $4) / $7; loads = ($2 - $5) / $7; branches = ($3 - $6) / $7
    printf "a disabled trace statement executes %.2f instructions: ", instructions
    printf "%.2f loads, %.2f conditional branches\n", loads, branches
    inBounds = branches > 0.9 && branches < 1.1 && loads > 0.9 && loads < 2.1 && instructions < 4.1
    exit !inBounds
}'
