#!/bin/sh
# clamp-monitor reports that its help could not be written.
#
#     monitor-help-test.sh CLAMP-MONITOR

"$1" --help >/dev/full
status=$?
if [ "$status" -ne 3 ]; then
    echo "expected exit code 3; got $status"
    exit 1
fi
