#!/bin/sh
# clamp-monitor reports that its help could not be written.
#
#     monitor-help-test.sh CLAMP-MONITOR

"$1" --help >/dev/full
status=$?
if [ "$status" -ne 1 ]; then
    echo "expected exit code 1; got $status"
    exit 1
fi
