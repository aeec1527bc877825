#!/bin/sh
# Checks what a libquoria that is built with LTTng-UST 2.12 offers the tracer and wants of it, and that
# the tools in the PATH are of the same generation.
#
# usage: checkLttng212.sh LIBRARY PROGRAM
#
# LIBRARY is libquoria, PROGRAM one that links it.
set -eu
library=$1
program=$2
provider=com_talmor_pellon_quoria
events='ERROR INFO STATE_CHANGE TRACE1 TRACE2 TRACE3 TRACE4 TRACE5 TRACE6 TRACE7 REC_SIG SEND_SIG
    DATA TRACE_UTS1 TRACE_UTS2 TRACE_UTS3 TRACE_UTS4 TRACE_UTS5 TRACE_UTS6 TRACE_UTS7'
failed=0

# check WHAT COMMAND...
check() {
    what=$1
    shift
    if "$@"; then
        echo "passed: $what"
    else
        echo "FAILED: $what"
        failed=1
    fi
}

defined=$(nm --dynamic --defined-only "$library" | awk '{ print $NF }')
wanted=$(nm --dynamic --undefined-only "$library" | awk '{ print $NF }')
files=$(LD_DEBUG=files "$program" all 2>&1)

has() {
    echo "$1" | grep -qx -- "$2"
}
has_objects() {
    for event in $events; do
        has "$defined" "__tracepoint_${provider}___$event" || return 1
    done
    [ "$(echo "$defined" | grep -c tracepoint)" = 21 ]
}
refers_to_models() {
    for event in $events; do
        has "$wanted" "_model_emf_uri___${provider}___$event" || return 1
    done
}
# While the loader initialises libquoria.
opens_runtime() {
    echo "$files" | awk '
        /calling init:/ { ours = /\/libquoria\.so\.0/ }
        ours && /opening file=.*\/liblttng-ust-tracepoint\.so\.0 / { found = 1 }
        END { exit !found }'
}
opens_no_other() {
    ! echo "$files" | grep -q 'liblttng-ust-tracepoint\.so\.[^0]'
}
is_2_12() {
    "$1" --version | grep -Eq '(^|[ v])2\.12\.'
}

check 'libquoria exports the twenty tracepoint objects by the names of 2.12' has_objects
check 'libquoria exports the marker of the provider' has "$defined" "__tracepoint_provider_$provider"
check 'libquoria registers its probes by lttng_probe_register' has "$wanted" lttng_probe_register
check 'libquoria takes them back by lttng_probe_unregister' has "$wanted" lttng_probe_unregister
check 'libquoria refers to a model of each event without defining it' refers_to_models
check 'libquoria opens liblttng-ust-tracepoint.so.0 when it is loaded' opens_runtime
check 'nobody opens the runtime of another generation' opens_no_other
check 'lttng-sessiond is that of 2.12' is_2_12 lttng-sessiond
check 'lttng is that of 2.12' is_2_12 lttng
exit "$failed"
