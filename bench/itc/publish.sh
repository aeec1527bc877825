#!/usr/bin/env bash
# Puts the last results of `make bench-itc` into docs/: the tables between the two marks in
# performance.md, and the figures. The argument is the build folder.
set -euo pipefail

folder=$1
page=docs/performance.md
renewed=$folder/performance.md

awk -v tables="$folder/bench-itc.md" '
    /^<!-- end of make bench-itc -->$/ { skip = 0 }
    !skip { print }
    /^<!-- make bench-itc -->$/ {
        skip = 1
        print ""
        while ((getline line < tables) > 0) print line
    }' "$page" > "$renewed"
cp "$renewed" "$page"

if ! command -v gnuplot >/dev/null; then
    echo "No gnuplot: the figures stay as they are." >&2
    exit 0
fi
mkdir -p docs/figures
gnuplot -e "data='$folder/bench-itc.tsv'; figures='docs/figures'" bench/itc/plot.gnuplot
