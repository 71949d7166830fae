#!/usr/bin/python3
"""clamp-monitor follows an element that comes back, says what it waits for and what has failed, and prints statistics.

    monitor-follows-test.py SOURCE-DIRECTORY CLAMP-MONITOR ZEB-BUS-SIM TEST
"""

import contextlib
import json
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile

CLAMP15 = "/ClampControl/clamps/1"
FOLLOWED = {"wait": {"subscribers": {"path": CLAMP15, "count": 1}}}
LOST = {"wait": {"subscribers": {"path": CLAMP15, "count": 0}}}
BACK = {"add": {"path": CLAMP15, "data": {"type": "Clamp15", "isSwitchedOn": True}}}


def expect(holds, expected, found):
    if not holds:
        raise AssertionError(f"expected {expected}; found {found}")


class Events:
    def __init__(self, stream):
        self.stream = stream

    def next(self, name):
        """The next event of this name. The test's time limit ends a wait in vain."""
        for line in self.stream:
            event = json.loads(line)
            if event["event"] == name:
                return event
        raise AssertionError(f"the output has ended without the event {name!r}")


@contextlib.contextmanager
def following(source, monitor, address, *options):
    configuration = {
        "serviceRegistrySettings": {
            "mode": "staticOnly",
            "serviceSettings": [{"service": "ClampControl", "useSeparator": True, "watchdogTimeout": 1000}],
        },
        "services": {"ClampControl": {"serverBaseUri": address}},
    }
    with contextlib.ExitStack() as stack:
        directory = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        (directory / "my.json").write_text(json.dumps(configuration))
        client = stack.enter_context(
            subprocess.Popen(
                [source / "scripts/with-client-config", directory / "my.json", "--", monitor, "--json", *options],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            )
        )  # fmt: skip
        stack.callback(client.terminate)
        yield client, Events(client.stdout)


@contextlib.contextmanager
def running(source, monitor, simulator, scenario, *options):
    with contextlib.ExitStack() as stack:
        directory = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        (directory / "scenario.json").write_text(json.dumps(scenario))
        bus = stack.enter_context(
            subprocess.Popen(
                [simulator, "--scenario", directory / "scenario.json", source / "examples/bus/vehicle.json"],
                stdout=subprocess.PIPE, text=True,
            )
        )  # fmt: skip
        stack.callback(bus.terminate)
        address = bus.stdout.readline().split()[-1].rstrip("/")
        yield stack.enter_context(following(source, monitor, address, *options))


def element_comes_back(*programs):
    with running(*programs, [FOLLOWED, {"remove": {"path": CLAMP15}}, LOST, BACK]) as (_, events):
        expect(events.next("clamp15")["value"] is False, "off at first", "on")
        reason = events.next("unknown")["reason"]
        expect('"Clamp15"' in reason and "was ended" in reason, "why the state is not known any more", reason)
        expect(events.next("clamp15")["value"] is True, "the new value", "the old one")


def statistics_on_a_signal(*programs):
    with running(*programs, []) as (client, events):
        events.next("clamp15")
        client.send_signal(signal.SIGUSR1)
        lines = [client.stderr.readline() for _ in range(4)]
        expect(lines[0] == "client library\n", "statistics", lines)
        expect("  state: connected for" in lines[3], "the state of the service", lines)
        client.send_signal(signal.SIGTERM)
        events.next("stopped")


def statistics_at_the_end(*programs):
    with running(*programs, [], "--stats") as (client, events):
        events.next("clamp15")
        client.send_signal(signal.SIGTERM)
        text = client.communicate(timeout=60)[1]
        expect(text.startswith("client library\n"), "statistics", text)
        expect("  subscriptions made: 1\n" in text and "  state: connected for" in text, "what was followed", text)


def silent_server(source, monitor, _):
    """Long before the attempt has failed, the user learns what is waited for, and where."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        address = f"http://127.0.0.1:{server.getsockname()[1]}"
        with following(source, monitor, address) as (client, _):
            lines = [client.stderr.readline() for _ in range(3)]
            expect("waiting for the service" in lines[0], "what is waited for", lines)
            expect("connecting to " + address in lines[1], "where", lines)
            expect("--check" in lines[2], "what to do", lines)


def silent_server_fails(source, monitor, _):
    """What has failed comes later than the first complaint, and is said too."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        address = f"http://127.0.0.1:{server.getsockname()[1]}"
        with following(source, monitor, address) as (client, _):
            said = [line for line in (client.stderr.readline() for _ in range(4)) if "is not known: " in line]
            expect(len(said) == 2 and "waiting for the service" not in said[1], "a second complaint", said)
            expect(address in said[1], "what has failed", said)


TESTS = {
    "silent-server": silent_server,
    "silent-server-fails": silent_server_fails,
    "element-comes-back": element_comes_back,
    "statistics-on-a-signal": statistics_on_a_signal,
    "statistics-at-the-end": statistics_at_the_end,
}
TESTS[sys.argv[4]](*(pathlib.Path(argument).resolve() for argument in sys.argv[1:4]))
