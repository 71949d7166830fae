"""The simulated vehicle of the tests of programs that follow it."""

import contextlib
import json
import subprocess
import tempfile


@contextlib.contextmanager
def vehicle(source, simulator):
    """Runs the simulator with the example vehicle. Gives its process, its address, and the name of a configuration file
    that leads there."""
    bus = subprocess.Popen([simulator, source / "examples/bus/vehicle.json"], stdout=subprocess.PIPE, text=True)
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
            yield bus, address, configuration.name
    finally:
        bus.terminate()
        bus.wait()
