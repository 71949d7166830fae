#!/usr/bin/python3
"""The example all-clamps shows every clamp, reads one and switches it, and says when the service is gone.

    all-clamps-test.py SOURCE-DIRECTORY ALL-CLAMPS ZEB-BUS-SIM
"""

import pathlib
import subprocess
import sys

from vehicle import vehicle


def main():
    source, program, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    lines = []
    with vehicle(source, simulator) as (bus, _, configuration):
        client = subprocess.Popen(
            [program, configuration, "1"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )
        while "Clamp15(0): on" not in lines[-3:] and "" not in lines:
            lines += [client.stdout.readline().rstrip() for _ in range(3)]
        bus.terminate()
        lines.append(client.stdout.readline().rstrip())
        client.communicate("\n")
    others = ["ClampS(1): on", "Clamp75_X(2): off"]
    expected = ["Clamp15(0): off", *others, "Clamp15(0): on", *others, "unknown: the service is gone"]
    # The write and the subscription go their own ways: the write may be the first to arrive.
    if lines not in (expected, expected[3:]) or client.returncode != 0:
        print(f"expected {expected} and status 0; got {lines}, status {client.returncode}")
        return 1
    return 0


sys.exit(main())
