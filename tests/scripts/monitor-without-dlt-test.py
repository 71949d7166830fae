#!/usr/bin/python3
"""clamp-monitor prints nothing on standard error when all goes well and there is no DLT daemon.

    monitor-without-dlt-test.py SOURCE-DIRECTORY CLAMP-MONITOR ZEB-BUS-SIM
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile


def main():
    source, monitor, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    bus = subprocess.Popen([simulator, source / "examples/bus/vehicle.json"], stdout=subprocess.PIPE, text=True)
    try:
        address = bus.stdout.readline().split()[-1].rstrip("/")
        with tempfile.TemporaryDirectory() as directory:
            configuration = pathlib.Path(directory) / "my.json"
            service = {"service": "ClampControl", "useSeparator": True, "watchdogTimeout": 1000}
            configuration.write_text(
                json.dumps(
                    {
                        "serviceRegistrySettings": {"mode": "staticOnly", "serviceSettings": [service]},
                        "services": {"ClampControl": {"serverBaseUri": address}},
                    }
                )
            )
            environment = {name: value for name, value in os.environ.items() if not name.startswith("DLT_")}
            client = subprocess.Popen(
                [source / "scripts/with-client-config", configuration, "--", monitor, "--json"],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                env={**environment, "DLT_PIPE_DIR": directory},
            )  # fmt: skip
            client.stdout.readline()
            client.send_signal(signal.SIGTERM)
            _, errors = client.communicate()
    finally:
        bus.terminate()
        bus.wait()
    if errors or client.returncode != 0:
        print(f"expected status 0 and nothing on standard error; got status {client.returncode} and:\n{errors}")
        return 1
    return 0


sys.exit(main())
