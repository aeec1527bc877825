#!/bin/sh
# Checks what libquoria asks of other modules: nothing that opens files or writes to the console, which
# a process has for itself, and for each of its events, without need of it, the model's URI. It needs no
# libraries but those of the platform, the tracer's and the language's.
#
# usage: checkImports.sh LIBRARY
set -eu
library=$1
provider=com_talmor_pellon_quoria

# The tracepoint headers tell a failure on stderr, with fprintf or fwrite, and look for LTTNG_UST_DEBUG.
forbidden='(open|openat|fopen|freopen)(64)?|creat|popen|system|v?printf|puts|putchar|perror|secure_getenv'
forbidden="$forbidden|environ|_ZSt4(cin|cout|cerr|clog)|_ZNSt[0-9]+basic_([io]f|f)stream.*|_ZNSt10filesystem.*"
if nm --dynamic --undefined-only "$library" | awk '{ print $NF }' | sed -e 's/@.*//' \
        | grep -E -x "$forbidden"; then
    echo "$library reads or writes what is not its own." >&2
    exit 1
fi

needed=$(readelf --dynamic --wide "$library" | sed -n -e 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for own in libitc.so.1 libtpt.so.0; do
    echo "$needed" | grep -q -x -F "$own" || { echo "$library does without $own." >&2; exit 1; }
done
known='lib(itc|tpt|lttng-ust[a-z-]*|stdc\+\+|gcc_s|c|m|dl|pthread|rt)\.so\.[0-9]+|ld-linux[a-z0-9_-]*\.so\.[0-9]+'
if echo "$needed" | grep -v -E -x "$known"; then
    echo "$library needs more than it should." >&2
    exit 1
fi

events() {
    sed -n -e "s/.*$1_${provider}___//p" | sort
}
defined=$(nm --dynamic --defined-only "$library" | awk '{ print $NF }' \
    | grep -v -e '_provider_' | events '_tracepoint')
modelled=$(nm --dynamic --undefined-only "$library" | awk '$1 == "w" { print $2 }' \
    | events '_model_emf_uri__')
if [ -z "$defined" ] || [ "$defined" != "$modelled" ]; then
    echo "$library refers to the models of $modelled, and has the events $defined" >&2
    exit 1
fi
