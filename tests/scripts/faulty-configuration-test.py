#!/usr/bin/python3
"""A faulty configuration shows its user, without any log, what is wrong and what to do.

    faulty-configuration-test.py SOURCE-DIRECTORY CLAMP-MONITOR ZEB-BUS-SIM FOLLOWING-APPLICATION CASE

Runs the case with clamp-monitor, with clamp-monitor --check, and with an application of a few lines.
"""

import contextlib
import json
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

FILE = "/var/run/csc/config/kelo-client/ClientConfig.json"
LIMIT = 60  # of the test, for what takes no time on an idle machine
PROMISED = 2.0  # seconds until standard error says what is wrong
SKIPPED = 77

CORRECT_IT = "correct or create the configuration file " + FILE

ENTRY = {"service": "ClampControl", "useSeparator": True, "watchdogTimeout": 1000}


def configuration(address, mode="staticOnly", name="ClampControl", key="serverBaseUri", entry=ENTRY, **more):
    services = {name: {key: address, **more}}
    return json.dumps(
        {"serviceRegistrySettings": {"mode": mode, "serviceSettings": [entry]}, "services": services}, indent=2
    )


def dynamic_configuration(registry):
    settings = {"mode": "dynamicOnly", "httpUri": registry, "serviceSettings": [ENTRY]}
    return json.dumps({"serviceRegistrySettings": settings}, indent=2)


def without(key):
    return {name: value for name, value in ENTRY.items() if name != key}


class Case:
    """What is configured, and what the user must be shown of it."""

    def __init__(self, make, shown, failed_step=None, next_step=CORRECT_IT, is_secure=False, is_readable=True,
                 scenario=()):  # fmt: skip
        self.make = make  # the text of the file from the bus's address; None for no file
        self.shown = shown  # in the reason; or, if the state is known, in the warning
        self.failed_step = failed_step  # of clamp-monitor --check; None if the state is known all the same
        self.next_step = next_step  # what clamp-monitor --check says to do
        self.is_secure = is_secure
        self.is_readable = is_readable
        self.scenario = list(scenario)  # what happens on the bus first


CASES = {
    "misspelt-key": Case(
        lambda bus: configuration(bus, key="serverBaseUrl"),
        [FILE + ":13:5", '"serverBaseUri" is missing', "14:7", 'did you mean "serverBaseUri"?'],
        "address",
    ),
    "wrong-port": Case(
        lambda bus: configuration("http://127.0.0.1:1"), ["http://127.0.0.1:1", "Connection refused"], "TCP",
        "start the server, or correct the host and the port",
    ),
    "syntax-error": Case(
        lambda bus: configuration(bus).replace(',\n    "serviceSettings"', '\n    "serviceSettings"'),
        [FILE + ":4:5", "expected a comma", "the defaults apply"],
        "TCP",
    ),
    "empty-file": Case(lambda bus: "", [FILE, "the file is empty", "Expected: one JSON object"], "TCP"),
    "https-for-http": Case(
        lambda bus: configuration(bus.replace("http:", "https:")), ["https://127.0.0.1", "does not speak TLS"], "TLS",
        "find out whether the server expects http or https",
    ),
    "http-for-https": Case(
        lambda bus: configuration(bus.replace("https:", "http:")),
        ["http://127.0.0.1", "it may expect TLS (https)"],
        "HTTP",
        "find out what serves at this address: another program, or one that expects https.",
        is_secure=True,
    ),
    "wrong-host": Case(
        lambda bus: configuration("http://vehicle.invalid:8080"),
        ["http://vehicle.invalid:8080", 'host "vehicle.invalid"'],
        "resolve",
        "correct the host in the address",
    ),
    "wrong-path": Case(
        lambda bus: configuration(bus, serverBasePathHTTP="/bus/"),
        ["HTTP status 404", '"/bus/', "is the base path right?"],
        "WebSocket",
        'correct the base path ("serverBasePathHTTP")',
    ),
    "registry-away": Case(
        lambda bus: dynamic_configuration("http://127.0.0.1:1"),
        ["http://127.0.0.1:1", "Connection refused"],
        "TCP",
        'start the service registry, or correct the host and the port in "serviceRegistrySettings.httpUri"',
    ),
    "service-not-registered": Case(
        dynamic_configuration, ["not listed by the service registry at"], "address", "register the service with",
        scenario=[{"service": {"name": "ClampControl", "present": False}}],
    ),
    "wrong-service-name": Case(
        lambda bus: configuration(bus, name="ClampControll"),
        [FILE + ":12:3", "there is no object for this service", "13:5", 'did you mean "ClampControl"?'],
        "address",
    ),
    "wrong-mode": Case(
        lambda bus: configuration(bus, mode="staticonly"),
        [FILE + ":3:13", 'unknown mode "staticonly"', 'did you mean "staticOnly"?'],
        "TCP",
        f"read the warnings about {FILE} in the first lines",
    ),
    "wrong-type": Case(
        lambda bus: configuration(8080), [FILE + ":14:24", "expected a string, found the number 8080"], "address"
    ),
    "missing-use-separator": Case(
        lambda bus: configuration(bus, entry=without("useSeparator")),
        [FILE + ":5:7", '"useSeparator" is missing (expected true or false)', "has no watchdog"],
    ),
    "watchdog-as-text": Case(
        lambda bus: configuration(bus, entry={**ENTRY, "watchdogTimeout": "1000"}),
        [FILE + ":5:7", '"watchdogTimeout" is a string (expected an integer', "has no watchdog"],
    ),
    "unreadable-file": Case(
        lambda bus: configuration(bus), [FILE, "Permission denied", "the defaults apply"], "TCP", is_readable=False
    ),
    "no-file": Case(lambda bus: None, [FILE, "the file does not exist", "Create it"], "TCP"),
}


class Program:
    """A program whose output lines can be awaited."""

    def __init__(self, command):
        self.started = time.monotonic()
        self.process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
        )
        self.lines = queue.Queue()
        self.readers = [
            threading.Thread(target=self.read, args=stream, daemon=True)
            for stream in (("out", self.process.stdout), ("err", self.process.stderr))
        ]
        for reader in self.readers:
            reader.start()

    def read(self, name, stream):
        for line in stream:
            self.lines.put((name, line, time.monotonic()))
        self.lines.put((name, None, time.monotonic()))

    def wait_for(self, name, is_it):
        """Returns what the stream has had up to the line for which `is_it` holds, and when that line came."""
        text = ""
        deadline = time.monotonic() + LIMIT
        while True:
            try:
                stream, line, moment = self.lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"not found in {LIMIT} s in standard {name}:\n{text}") from None
            if stream != name:
                continue
            if line is None:
                raise AssertionError(f"the program has ended too early; standard {name}:\n{text}")
            text += line
            if is_it(line):
                return text, moment

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(LIMIT)


def expect(texts, shown, where):
    for text in texts:
        if text not in shown:
            raise AssertionError(f"expected {text!r} in {where}:\n{shown}")


@contextlib.contextmanager
def running_bus(source, simulator, directory, case):
    (directory / "scenario.json").write_text(json.dumps([*case.scenario, {"print": "ready"}]))
    options = ["--scenario", directory / "scenario.json"]
    if case.is_secure:
        key, certificate = directory / "key.pem", directory / "certificate.pem"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
             "-keyout", key, "-out", certificate, "-subj", "/CN=test", "-addext", "subjectAltName=IP:127.0.0.1"],
            check=True, stderr=subprocess.DEVNULL,
        )  # fmt: skip
        options += ["--tls-cert", certificate, "--tls-key", key]
    with subprocess.Popen(
        [simulator, *options, source / "examples/bus/vehicle.json"], stdout=subprocess.PIPE, text=True
    ) as bus:
        try:
            address = bus.stdout.readline().split()[-1].rstrip("/")
            while bus.stdout.readline() != "zeb-bus-sim: ready\n":
                pass
            yield address
        finally:
            bus.terminate()


def command_prefix(source, directory, case, address):
    text = case.make(address)
    if text is None:
        return [source / "scripts/with-client-config", "--none", "--"]
    (directory / "my.json").write_text(text)
    prefix = [source / "scripts/with-client-config", directory / "my.json", "--"]
    if not case.is_readable:
        prefix += ["sh", "-c", f'chmod 0 {FILE} && exec "$@"', "sh"]
        if os.geteuid() == 0:  # who may read everything
            prefix += ["setpriv", "--bounding-set=-dac_override,-dac_read_search",
                       "--inh-caps=-dac_override,-dac_read_search"]  # fmt: skip
    return prefix


def monitor_shows(case, prefix, monitor):
    """Returns after how many seconds standard error has said what is wrong."""
    program = Program([*prefix, monitor, "--json"])
    try:
        if case.failed_step is None:
            text, moment = program.wait_for("err", lambda line: all(part in line for part in case.shown))
            seconds = moment - program.started
            program.wait_for("out", lambda line: json.loads(line)["event"] == "clamp15")
        else:
            wanted = ["is not known: ", *case.shown, 'service "ClampControl"']
            _, moment = program.wait_for("err", lambda line: all(part in line for part in wanted))
            seconds = moment - program.started
    finally:
        status = program.stop()
    if status != 0:
        raise AssertionError(f"clamp-monitor ended with {status}, not with 0")
    return seconds


def monitor_gives_reason(case, prefix, monitor):
    program = Program([*prefix, monitor, "--json"])
    try:
        event = "unknown" if case.failed_step else "clamp15"
        text, _ = program.wait_for("out", lambda line: json.loads(line)["event"] == event)
        if case.failed_step:
            expect(case.shown, json.loads(text.splitlines()[-1])["reason"], 'the event "unknown"')
    finally:
        program.stop()


def check_names_step(case, prefix, monitor):
    done = subprocess.run([*prefix, monitor, "--check"], stdout=subprocess.PIPE, text=True, timeout=LIMIT, check=False)
    expect(case.shown, done.stdout, "the output of clamp-monitor --check")
    if case.failed_step:
        expect(["\nNext: " + case.next_step], done.stdout, "the output of clamp-monitor --check")
    failed = [line.split()[0] for line in done.stdout.splitlines() if " FAILED: " in line]
    expected = ([case.failed_step], 1) if case.failed_step else ([], 0)
    if (failed[:1], done.returncode) != expected:
        raise AssertionError(f"expected the failed step and the exit code {expected} from:\n{done.stdout}")


def application_shows(case, prefix, application):
    state = "unknown" if case.failed_step else "off"
    program = Program([*prefix, application])
    try:
        for source in ("handler", "status"):
            text, _ = program.wait_for("out", lambda line, start=f"{source}: {state}": line.startswith(start))
            if case.failed_step:
                expect(case.shown, text.splitlines()[-1], f"what {source} says to the application")
            program.process.stdin.write("\n")
            program.process.stdin.flush()
    finally:
        program.process.stdin.close()
        program.process.wait(LIMIT)


def main():
    source, monitor, simulator, application = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
    case = CASES[sys.argv[5]]
    if case.is_secure and shutil.which("openssl") is None:
        print("needs the program openssl")
        return SKIPPED
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        with running_bus(source, simulator, directory, case) as address:
            prefix = command_prefix(source, directory, case, address)
            # The machine may be busy with other things, so one of several runs has to keep the promise.
            times = []
            while not times or (times[-1] > PROMISED and len(times) < 5):
                times.append(monitor_shows(case, prefix, monitor))
            if times[-1] > PROMISED:
                raise AssertionError(f"standard error says what is wrong only after {times} seconds")
            monitor_gives_reason(case, prefix, monitor)
            check_names_step(case, prefix, monitor)
            application_shows(case, prefix, application)
    return 0


if __name__ == "__main__":
    sys.exit(main())
