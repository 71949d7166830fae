#!/usr/bin/python3
"""clamp-monitor stops cleanly when it is signalled again right after the first signal. timeout(1) does that: it
signals a program and its process group.

    monitor-test.py SOURCE-DIRECTORY CLAMP-MONITOR ZEB-BUS-SIM
"""

import json
import pathlib
import signal
import subprocess
import sys
import time

from vehicle import vehicle


def main():
    source, monitor, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    with vehicle(source, simulator) as (_, _, configuration):
        client = subprocess.Popen(
            [source / "scripts/with-client-config", configuration, "--", monitor, "--json"],
            stdout=subprocess.PIPE, text=True,
        )  # fmt: skip
        events = [json.loads(client.stdout.readline())]
        for _ in range(10):  # signals that come before the first is taken are one with it
            client.send_signal(signal.SIGTERM)
            time.sleep(0.01)
        events += [json.loads(line) for line in client.stdout]
        status = client.wait()
    if events[0]["event"] != "connection" or events[-1]["event"] != "stopped" or status != 0:
        print(f"expected events from \"connection\" to \"stopped\" and status 0; got {events}, status {status}")
        return 1
    return 0


sys.exit(main())
