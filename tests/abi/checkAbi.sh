#!/usr/bin/env bash
# Compares what the built libraries promise to programs that are built already with what they are meant
# to: types, places in tables, numbers and fields, as the debug information tells them.
#
# usage: checkAbi.sh BUILD_FOLDER ARCHITECTURE [--update]
#
# The promises are in the folder of the architecture, as `uname -m` names it, beside this script; they
# were read from a build of the preset release. --update renews them: for a change that is meant.
set -euo pipefail

build=$1
architecture=$2
action=${3:-compare}
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
baseline=$here/$architecture
new=$build/abi

# What no public header declares is nobody's to rely on here: the tests know where private fields lie.
headers=()
for folder in "$root"/sw/*/include "$root"/platform/*/include; do
    headers+=(--headers-dir "$folder")
done

# read_abi LIBRARY FILE
read_abi() {
    abidw "${headers[@]}" --drop-private-types --suppressions "$here/standardLibrary.suppr" \
        --exported-interfaces-only --drop-undefined-syms --no-corpus-path --no-comp-dir-path \
        --no-show-locs --no-elf-needed --no-parameter-names --no-write-default-sizes \
        --type-id-style hash --out-file "$2" "$1"
}

mkdir -p "$new"
failed=0
for name in quoria itc tpt; do
    read_abi "$build/lib/lib$name.so" "$new/lib$name.abi"
    if [ "$action" = --update ]; then
        mkdir -p "$baseline"
        cp "$new/lib$name.abi" "$baseline/lib$name.abi"
        echo "renewed: $architecture/lib$name.abi"
    elif [ ! -f "$baseline/lib$name.abi" ]; then
        echo "FAILED: there is no $architecture/lib$name.abi to compare lib$name.so with" >&2
        failed=1
    elif abidiff --harmless "$baseline/lib$name.abi" "$new/lib$name.abi"; then
        echo "passed: lib$name.so keeps its promises on $architecture"
    else
        echo "FAILED: lib$name.so does not keep its promises on $architecture, see above" >&2
        failed=1
    fi
done
if [ "$failed" -ne 0 ]; then
    echo "If that is meant: $0 $build $architecture --update (make update-abi)" >&2
fi
exit "$failed"
