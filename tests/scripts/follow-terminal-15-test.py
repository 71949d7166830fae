#!/usr/bin/python3
"""The example follow-terminal-15 tells each state of the terminal, and the reason when it is unknown.

    follow-terminal-15-test.py SOURCE-DIRECTORY FOLLOW-TERMINAL-15 ZEB-BUS-SIM
"""

import json
import pathlib
import subprocess
import sys
import tempfile
import urllib.request


def main():
    source, program, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    bus = subprocess.Popen([simulator, source / "examples/bus/vehicle.json"], stdout=subprocess.PIPE, text=True)
    lines = []
    try:
        address = bus.stdout.readline().split()[-1].rstrip("/")
        with tempfile.NamedTemporaryFile("w", suffix=".json") as configuration:
            json.dump(
                {
                    "serviceRegistrySettings": {"mode": "staticOnly"},
                    "services": {"ClampControl": {"serverBaseUri": address}},
                },
                configuration,
            )
            configuration.flush()
            application = subprocess.Popen(
                [source / "scripts/with-client-config", configuration.name, "--", program],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            )  # fmt: skip
            lines.append(application.stdout.readline().rstrip())
            urllib.request.urlopen(f"{address}/ClampControl/clamps/1", data=b'{"isSwitchedOn": true}').close()
            lines.append(application.stdout.readline().rstrip())
            bus.terminate()
            lines.append(application.stdout.readline().rstrip())
            application.communicate("\n")
    finally:
        bus.terminate()
        bus.wait()
    lost = 'terminal 15: unknown  service "ClampControl" disconnected: closed by the server with code 1001'
    expected = ["terminal 15: off", "terminal 15: on", lost]
    if lines != expected or application.returncode != 0:
        print(f"expected {expected} and status 0; got {lines}, status {application.returncode}")
        return 1
    return 0


sys.exit(main())
