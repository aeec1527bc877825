#!/bin/sh
# Compares what a library exports with the list of what it is meant to export.
#
# usage: checkExports.sh LIBRARY LIST [--update]
set -eu
library=$1
list=$2

# Tracepoint objects have another prefix in each generation of the tracepoint headers.
exported() {
    nm --dynamic --defined-only "$library" | awk '{ print $NF }' \
        | sed -e 's/@.*//' -e 's/^lttng_ust_tracepoint_/__tracepoint_/' | sort -u
}

if [ "${3:-}" = --update ]; then
    exported >"$list"
elif ! exported | diff -u "$list" -; then
    echo "The exported symbols of $library are not those in $list." >&2
    echo "If that is meant: $0 $library $list --update" >&2
    exit 1
fi
