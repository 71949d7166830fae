#!/usr/bin/python3
"""The second part of scripts/demo: runs a simulated vehicle and clamp-monitor, and checks every event.

    scripts/demo-show.py DIRECTORY [--interactive] [--logs DIRECTORY] [--monitor COMMAND] [--patience SECONDS]

The first directory contains a build or an installed copy. clamp-monitor writes one JSON object per event. The demo
prints each event for people, keeps it in the log directory, and compares it with the expected one. A missing,
surplus or wrong event ends the demo with exit status 1. The demo never sleeps for a guessed time: every wait is for
an event and has a time limit.

--monitor replaces clamp-monitor; a test uses it to check that the demo fails if a monitor misses a change.
--patience is the time limit for one event.
"""

import argparse
import json
import pathlib
import queue
import shlex
import signal
import subprocess
import sys
import threading
import urllib.request

SCRIPTS = pathlib.Path(__file__).resolve().parent
BUS = SCRIPTS.parent / "examples/bus/vehicle.json"
WHOLE_LIMIT = 180  # s
ANY = object()

COLOURED = sys.stdout.isatty()


def paint(code, text):
    return f"\033[{code}m{text}\033[0m" if COLOURED else text


def heading(text):
    print(f"\n{paint('1', '== ' + text)}", flush=True)


def say(text):
    print(f"   {text}", flush=True)


class Failure(Exception):
    """Something did not happen as the demo expects."""


def program(directory, name):
    """The path of a program in a build or in an installed copy."""
    for place in ("bin", "simulator", f"tools/{name}"):
        if (directory / place / name).is_file():
            return str(directory / place / name)
    raise Failure(f"there is no {name} in {directory}")


class Program:
    """A running program. Its output can be awaited line by line. The end of the object's `with` ends the program."""

    patience = 30.0  # s for one event; the slowest one is a reconnect after the longest pause

    def __init__(self, name, command, log_directory):
        self.name = name
        self.error_log = log_directory / f"{name}.err"
        self.output_log = log_directory / f"{name}.out"
        with self.error_log.open("ab") as errors:
            # In a separate session, so Ctrl-C reaches only this script, which ends its programs in order.
            self.process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, start_new_session=True
            )
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        with self.output_log.open("ab") as log:
            for line in self.process.stdout:
                log.write(line)
                log.flush()
                self.lines.put(line.decode("utf-8", "replace").rstrip("\n"))
        self.lines.put(None)

    def next_line(self, what, patience=None):
        """The next line of output, or None at its end."""
        try:
            return self.lines.get(timeout=patience or self.patience)
        except queue.Empty:
            raise Failure(f"{self.name}: no output within {self.patience:g} s; expected {what}") from None

    def stop(self):
        """Sends SIGTERM and returns the exit status."""
        self.process.send_signal(signal.SIGTERM)
        try:
            return self.process.wait(timeout=self.patience)
        except subprocess.TimeoutExpired:
            raise Failure(f"{self.name} did not end within {self.patience:g} s of SIGTERM") from None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


class Vehicle(Program):
    """zeb-bus-sim on the loopback interface."""

    READY = "zeb-bus-sim: listening on "

    def __init__(self, build, log_directory, port=0):
        super().__init__("zeb-bus-sim", self.start_command(build, port), log_directory)
        try:
            line = self.next_line(f'"{self.READY}..."')
            if line is None or not line.startswith(self.READY):
                raise Failure(f'zeb-bus-sim wrote "{line}"; expected "{self.READY}..."')
        except BaseException:
            self.__exit__()
            raise
        self.url = line[len(self.READY):]
        self.port = int(self.url.rstrip("/").rsplit(":", 1)[1])
        say(line)

    @staticmethod
    def start_command(build, port):
        return [program(build, "zeb-bus-sim"), "--port", str(port), str(BUS)]

    def clamp15(self):
        """The path and the state of the element that the client should find."""
        with urllib.request.urlopen(f"{self.url}ClampControl/clamps/?type=Clamp15", timeout=10) as answer:
            element = json.load(answer)["data"][0]
        return element["uri"].lstrip("/"), element["isSwitchedOn"]

    def switch_command(self, path, switched_on):
        body = json.dumps({"isSwitchedOn": switched_on})
        return ["curl", "--silent", "--show-error", "--fail", "-d", body, f"{self.url}{path}"]

    def switch(self, path, switched_on):
        command = self.switch_command(path, switched_on)
        say(f"$ {shlex.join(command)}")
        done = subprocess.run(command, capture_output=True, text=True, timeout=self.patience, check=False)
        if done.returncode != 0:
            raise Failure(f"curl ended with status {done.returncode}: {done.stderr.strip()}")


class Monitor(Program):
    """clamp-monitor, configured to connect to the vehicle."""

    MEANING = {
        ("connection", True): ("32", "the ClampControl service is present"),
        ("connection", False): ("31", "the ClampControl service is gone"),
        ("notification", None): ("2", "the vehicle has sent the clamp's state"),
        ("clamp15", True): ("1;32", "terminal 15 is ON"),
        ("clamp15", False): ("1;33", "terminal 15 is OFF"),
        ("stopped", None): ("36", "the client has stopped"),
    }

    def __init__(self, command, log_directory):
        super().__init__("clamp-monitor", command, log_directory)

    def next_event(self, what, patience=None):
        """Prints the next event and returns it as (name, value), or None at the end of the output."""
        line = self.next_line(what, patience)
        if line is None:
            return None
        try:
            event = json.loads(line)
            name, time = event["event"], event["ts"]
            value = event["reason" if name == "unknown" else "value"]
        except (ValueError, KeyError, TypeError):
            raise Failure(
                f'clamp-monitor wrote "{line}"; expected an object with "ts", "event", and "value" or "reason"'
            ) from None
        meaning = {
            "subscribed": ("36", f"subscribed to element {value}"),
            "unknown": ("31", f"terminal 15 is unknown: {value}"),
        }.get(name)
        colour, text = meaning or self.MEANING.get((name, value), ("31", f"value {json.dumps(value)}"))
        say(f"{clock(time)}  {name:<12}  {paint(colour, text)}")
        return name, value

    def see(self, *expected, beside=(), also=None):
        """Expects these events in this order. Those in `beside` may come at any point, in their own order, and those
        with the name `also` at any point and any number of times."""
        expected, beside = list(expected), list(beside)
        while expected or beside:
            what = " or ".join(describe(event) for event in expected[:1] + beside)
            event = self.next_event(what)
            if event is None:
                raise Failure(f"clamp-monitor ended (status {self.process.wait()}); expected {what}")
            if expected and matches(event, expected[0]):
                expected.pop(0)
            elif beside and matches(event, beside[0]):
                beside.pop(0)
            elif event[0] != also:
                raise Failure(f"clamp-monitor reported {describe(event)}; expected {what}")

    def see_loss(self):
        """The state is not known any more, and then the service is gone."""
        self.see(("unknown", ANY), ("connection", False))

    def see_return(self):
        """Meanwhile each new reason why there is no connection is reported."""
        self.see(("connection", True), also="unknown")

    def see_subscription(self, switched_on):
        """A subscription brings the present state at once. Another thread reports the subscription itself."""
        self.see(("notification", None), ("clamp15", switched_on), beside=[("subscribed", ANY)])

    def see_change(self, switched_on):
        self.see(("notification", None), ("clamp15", switched_on))

    def see_clean_stop(self):
        status = self.stop()
        self.see(("stopped", None))
        surplus = self.next_event("the end of the output")
        if surplus is not None:
            raise Failure(f"clamp-monitor reported {describe(surplus)} after it had stopped")
        if status != 0:
            raise Failure(f"clamp-monitor ended with status {status}; expected 0")
        say("clamp-monitor ended with exit status 0")


def clock(time):
    """The time of day of an ISO 8601 time, to the millisecond."""
    return time.rpartition("T")[2][:12]


def matches(event, expected):
    name, value = expected
    return event[0] == name and (isinstance(event[1], str) and event[1] != "" if value is ANY else event[1] is value)


def describe(event):
    name, value = event
    return f'"{name}"' if value is ANY else f'"{name}" {json.dumps(value)}'


def write_configuration(path, vehicle):
    configuration = {
        "serviceRegistrySettings": {
            "mode": "staticOnly",
            "serviceSettings": [{"service": "ClampControl", "useSeparator": True, "watchdogTimeout": 1000}],
        },
        "services": {
            "ClampControl": {
                "serverBaseUri": vehicle.url.rstrip("/"),
                "serverBasePathHTTP": "/",
                "serverBasePathWS": "/",
                "separatorAfterRessource": "/",
                "watchdogTimeout": 1000,
            }
        },
    }
    path.write_text(json.dumps(configuration, indent=2) + "\n", encoding="utf-8")


def show(build, logs, monitor_command):
    heading("1. A vehicle")
    say("The simulator plays the service bus of a vehicle, on this machine's loopback interface:")
    with Vehicle(build, logs) as vehicle:
        path, switched_on = vehicle.clamp15()

        heading("2. An application follows terminal 15")
        say("clamp-monitor is a small application that uses the client library. It waits for the service,")
        say("subscribes, and receives the present state at once:")
        write_configuration(logs / "ClientConfig.json", vehicle)
        with Monitor(monitor_command, logs) as monitor:
            monitor.see_return()
            monitor.see_subscription(switched_on)

            heading("3. The driver turns the key")
            say("The application receives one notification for each change of the clamp on the bus:")
            for _ in range(3):
                switched_on = not switched_on
                vehicle.switch(path, switched_on)
                monitor.see_change(switched_on)

            heading("4. Five changes in quick succession")
            say("All of them arrive, in order:")
            changes = []
            for _ in range(5):
                switched_on = not switched_on
                vehicle.switch(path, switched_on)
                changes.append(switched_on)
            for change in changes:
                monitor.see_change(change)

            heading("5. The service disappears")
            say("The simulator is stopped. The state of the terminal is not known any more, and the application")
            say("learns why:")
            if vehicle.stop() != 0:
                raise Failure(f"zeb-bus-sim ended with status {vehicle.process.returncode}; expected 0")
            monitor.see_loss()

            heading("6. The service returns")
            say("The simulator starts again at the same address. The library subscribes again by itself, and the")
            say("application follows the clamp as before:")
            with Vehicle(build, logs, vehicle.port) as vehicle_again:
                path, switched_on = vehicle_again.clamp15()
                monitor.see_return()
                monitor.see_subscription(switched_on)
                switched_on = not switched_on
                vehicle_again.switch(path, switched_on)
                monitor.see_change(switched_on)

                heading("7. A clean stop")
                say("clamp-monitor receives SIGTERM, stops its client and exits:")
                monitor.see_clean_stop()

    heading("Every expected event was observed, in order.")
    say(f"Events and logs: {logs}")


def play(build, logs, monitor_command):
    heading("A vehicle, and an application that follows terminal 15")
    with Vehicle(build, logs) as vehicle:
        path, _ = vehicle.clamp15()
        write_configuration(logs / "ClientConfig.json", vehicle)
        with Monitor(monitor_command, logs) as monitor:
            heading("Your turn, in another terminal. Switch terminal 15 on and off:")
            say(shlex.join(vehicle.switch_command(path, True)))
            say(shlex.join(vehicle.switch_command(path, False)))
            heading("Look at the bus:")
            say(f"curl {vehicle.url}ClampControl/clamps")
            heading("Stop the service and start it again:")
            say(f"kill {vehicle.process.pid}")
            say(shlex.join(Vehicle.start_command(build, vehicle.port)))
            heading("Ctrl-C here ends the demo. The events of the application:")
            while True:
                try:
                    event = monitor.next_event("an event", patience=threading.TIMEOUT_MAX)
                except KeyboardInterrupt:
                    heading("The end")
                    monitor.stop()
                    while monitor.next_event("the end of the output"):
                        pass
                    return
                if event is None:
                    raise Failure(f"clamp-monitor ended with status {monitor.process.wait()}")


def print_log_ends(logs):
    for log in sorted(logs.glob("*.err")):
        lines = log.read_text(encoding="utf-8", errors="replace").splitlines()[-20:]
        if lines:
            print(f"\nThe end of {log}:", *lines, sep="\n   ", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("build", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("--interactive", action="store_true")
    parser.add_argument("--monitor")
    parser.add_argument("--logs", type=pathlib.Path)
    parser.add_argument("--patience", type=float, default=Program.patience)
    arguments = parser.parse_args()
    Program.patience = arguments.patience

    logs = (arguments.logs or arguments.build / "demo").resolve()
    logs.mkdir(parents=True, exist_ok=True)
    for old in logs.iterdir():
        old.unlink()

    def interrupt(*_):
        raise KeyboardInterrupt

    def time_out(*_):
        raise Failure(f"the demo did not end within {WHOLE_LIMIT} s")

    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, interrupt)
    try:
        monitor = shlex.split(arguments.monitor or program(arguments.build, "clamp-monitor"))
        command = [str(SCRIPTS / "with-client-config"), str(logs / "ClientConfig.json"), "--", *monitor, "--json"]
        if arguments.interactive:
            play(arguments.build, logs, command)
        else:
            signal.signal(signal.SIGALRM, time_out)
            signal.alarm(WHOLE_LIMIT)
            show(arguments.build, logs, command)
    except Failure as failure:
        print(paint("1;31", f"\nThe demo failed: {failure}"), file=sys.stderr)
        print_log_ends(logs)
        return 1
    except KeyboardInterrupt:
        print("\nThe demo was interrupted.", file=sys.stderr)
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
