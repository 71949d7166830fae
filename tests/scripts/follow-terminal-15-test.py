#!/usr/bin/python3
"""The example follow-terminal-15 tells each state of the terminal, and the reason when it is unknown.

    follow-terminal-15-test.py SOURCE-DIRECTORY FOLLOW-TERMINAL-15 ZEB-BUS-SIM
"""

import pathlib
import subprocess
import sys
import urllib.request

from vehicle import vehicle


def main():
    source, program, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    lines = []
    with vehicle(source, simulator) as (bus, address, configuration):
        application = subprocess.Popen(
            [source / "scripts/with-client-config", configuration, "--", program],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
        )  # fmt: skip
        lines.append(application.stdout.readline().rstrip())
        urllib.request.urlopen(f"{address}/ClampControl/clamps/1", data=b'{"isSwitchedOn": true}').close()
        lines.append(application.stdout.readline().rstrip())
        bus.terminate()
        lines.append(application.stdout.readline().rstrip())
        application.communicate("\n")
    lost = 'terminal 15: unknown  service "ClampControl" disconnected: closed by the server with code 1001'
    expected = ["terminal 15: off", "terminal 15: on", lost]
    if lines != expected or application.returncode != 0:
        print(f"expected {expected} and status 0; got {lines}, status {application.returncode}")
        return 1
    return 0


sys.exit(main())
