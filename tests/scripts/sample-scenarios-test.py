#!/usr/bin/python3
"""Each sample scenario is played to its end by `zeb-bus-sim --demo` while clamp-monitor follows with the sample
configuration.

    sample-scenarios-test.py SOURCE-DIRECTORY CLAMP-MONITOR ZEB-BUS-SIM SCENARIO
"""

import json
import pathlib
import subprocess
import sys
import tempfile

LIMIT = 100


def main():
    source, monitor, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    scenario = source / "examples/bus" / sys.argv[4]
    configuration = json.loads((source / "examples/config/ClientConfig.json").read_text())
    with tempfile.NamedTemporaryFile("w", suffix=".json") as file, subprocess.Popen(
        [simulator, "--demo", "--port", "0", "--scenario", scenario, "--speed", "10", "--exit-after-scenario"],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
    ) as bus:  # fmt: skip
        address = bus.stdout.readline().split()[-1].rstrip("/")
        configuration["services"]["ClampControl"]["serverBaseUri"] = address
        json.dump(configuration, file)
        file.flush()
        with subprocess.Popen(
            [source / "scripts/with-client-config", file.name, "--", monitor, "--json"],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
        ) as client:  # fmt: skip
            said = bus.communicate(timeout=LIMIT)[0]
            client.terminate()
            complaints = client.communicate(timeout=LIMIT)[1]
    if bus.returncode != 0 or client.returncode != 0:
        print(f"the simulator ended with {bus.returncode}:\n{said}\nthe client with {client.returncode}:\n{complaints}")
        return 1
    return 0


sys.exit(main())
