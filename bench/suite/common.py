"""Code that the groups of the benchmarks share: starting and ending programs, interleaving contestants, medians with
their spread, tables."""

import array
import contextlib
import json
import os
import pathlib
import platform
import queue
import shutil
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import threading

ROOT = pathlib.Path(__file__).resolve().parents[2]
WITH_CLIENT_CONFIG = ROOT / "scripts/with-client-config"


class Failure(Exception):
    """A run without a result: a program failed or a message was lost."""


class Options:
    """The options of a group.

    build    directory of the build, for instance build/bench
    out      directory of the results
    quick    one small repeat: does everything run, and is nothing lost?
    peers    whether other ways of delivering a notification are measured too
    repeats  how often each contestant has its turn
    """

    def __init__(self, build, out, quick=False, peers=False, repeats=5):
        self.build = pathlib.Path(build)
        self.out = pathlib.Path(out)
        self.quick = quick
        self.peers = peers
        self.repeats = 1 if quick else repeats

    def program(self, path):
        """A program of the benchmarks, for instance bus/bench-bus."""
        return str(self.build / "bench" / path)

    @property
    def allocation_counter(self):
        return self.program("support/liballocation-counter.so")


class Program:
    """A started program that prints one JSON object per line. Used with `with`, which ends it: first by the end of its
    standard input, then by signals to its id."""

    def __init__(self, command, log, environment=None, preload=None):
        self.command = [str(word) for word in command]
        self.log = pathlib.Path(log)
        variables = {**os.environ, **(environment or {})}
        if preload:
            variables["LD_PRELOAD"] = str(preload)
        with self.log.open("ab") as errors:
            self.process = subprocess.Popen(
                self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=errors, env=variables
            )
        self._lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self._lines.put(line)
        self._lines.put(None)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    @property
    def id(self):
        return self.process.pid

    def line(self, limit=30):
        """The next line of its output."""
        try:
            line = self._lines.get(timeout=limit)
        except queue.Empty:
            raise Failure(f"{self._name}: nothing for {limit} s{self._last_words()}") from None
        if line is None:
            raise Failure(f"{self._name}: ended with status {self.process.wait()}{self._last_words()}")
        return line.decode().strip()

    def expect(self, key, limit=30):
        """The value of `key` in the next line."""
        line = self.line(limit)
        try:
            return json.loads(line)[key]
        except (ValueError, KeyError):
            raise Failure(f"{self._name}: expected {key!r}, got {line!r}") from None

    def say(self, text):
        self.process.stdin.write(text.encode() + b"\n")
        self.process.stdin.flush()

    def finish(self, limit=30):
        """Waits for the program to exit by itself with status 0."""
        try:
            status = self.process.wait(limit)
        except subprocess.TimeoutExpired:
            raise Failure(f"{self._name}: does not end{self._last_words()}") from None
        if status != 0:
            raise Failure(f"{self._name}: ended with status {status}{self._last_words()}")

    def end(self):
        with contextlib.suppress(OSError):
            self.process.stdin.close()
        # A program that does not exit gets SIGTERM, then SIGKILL.
        for limit, ask in ((2, self.process.terminate), (5, self.process.kill), (5, None)):
            with contextlib.suppress(subprocess.TimeoutExpired):
                self.process.wait(limit)
                return
            if ask:
                ask()

    def cpu_time(self):
        """Nanoseconds that its threads have run, not counting threads that have ended."""
        total = 0
        for task in pathlib.Path(f"/proc/{self.id}/task").iterdir():
            total += int((task / "schedstat").read_text().split()[0])
        return total

    def resident_bytes(self):
        return int(pathlib.Path(f"/proc/{self.id}/statm").read_text().split()[1]) * os.sysconf("SC_PAGESIZE")

    @property
    def _name(self):
        return " ".join(self.command)

    def _last_words(self):
        words = self.log.read_text(errors="replace").splitlines()[-10:]
        return "".join(f"\n    {word}" for word in words)


class TimeTable:
    """The file of times that servers and clients write into: bench/support/TimeTable.h."""

    def __init__(self, path, rows, clients=1):
        self.path = pathlib.Path(path)
        self.rows = rows
        header = struct.pack("<3q", 1, rows, 2 * clients)
        with self.path.open("wb") as file:
            file.write(header)
            file.truncate(len(header) + 8 * rows * 2 * clients)

    def _column(self, index):
        times = array.array("q")
        with self.path.open("rb") as file:
            file.seek(24 + 8 * self.rows * index)
            times.fromfile(file, self.rows)
        return times

    def latencies(self, warm_up=0, client=0):
        """Nanoseconds from the send to the callback, message by message."""
        sent = self._column(2 * client)[warm_up:]
        received = self._column(2 * client + 1)[warm_up:]
        if not all(sent) or not all(received):
            raise Failure("a message has no time")
        result = [there - here for here, there in zip(sent, received)]
        if min(result) < 0:
            raise Failure("a message was received before it was sent")
        return result


@contextlib.contextmanager
def workplace():
    """A directory for one run, in memory if possible, so no disk affects the result."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    place = pathlib.Path(tempfile.mkdtemp(prefix="clamp-bench-", dir=memory))
    try:
        yield place
    finally:
        shutil.rmtree(place, ignore_errors=True)


def free_port():
    """A free port, for a program that does not report its port."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def client_command(place, port, command, settings=None):
    """The command with a private configuration: the ClampControl service at that port of this machine, with the
    given `settings` of the service and nothing else."""
    configuration = place / f"client-{port}.json"
    service = {"serverBaseUri": f"http://127.0.0.1:{port}", "serverBasePathHTTP": "/", **(settings or {})}
    configuration.write_text(
        json.dumps({"serviceRegistrySettings": {"mode": "staticOnly"}, "services": {"ClampControl": service}})
    )
    return [str(WITH_CLIENT_CONFIG), str(configuration), "--", *command]


def progress(text):
    """Says on a terminal how far the work is. Silent in a pipe."""
    if sys.stderr.isatty():
        print(text, file=sys.stderr, flush=True)


def interleaved(contestants, repeats, measure):
    """`measure(contestant)` for all in turn, `repeats` times over, each round beginning with another one, so that what
    else goes on in the machine meets all alike.

    @return for each contestant, by its key in the given order, the list of what it measured
    """
    contestants = list(contestants)
    results = {contestant: [] for contestant in contestants}
    for repeat in range(repeats):
        first = repeat % len(contestants)
        for contestant in contestants[first:] + contestants[:first]:
            progress(f"    {repeat + 1}/{repeats} {contestant}")
            results[contestant].append(measure(contestant))
    return results


def percentile(values, share):
    """The quantile of a list in any order; 0.5 is the median."""
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(len(ordered) * share))]


def summary(values):
    """The median of the repeats and their smallest and largest value."""
    return {"median": statistics.median(values), "min": min(values), "max": max(values), "values": list(values)}


def summaries(repeats):
    """Of a list of dictionaries with the same keys: for each key its summary. Keys that are missing in one are left
    out."""
    keys = [key for key in repeats[0] if all(key in repeat for repeat in repeats)]
    return {key: summary([repeat[key] for repeat in repeats]) for key in keys}


def ratio(figure, reference):
    """The median divided by the reference's median."""
    return figure["median"] / reference["median"] if reference["median"] else None


def spread_text(figure, digits=1):
    """ "12.3 (11.9 to 14.0)" """
    median, low, high = (f"{figure[key]:,.{digits}f}" for key in ("median", "min", "max"))
    return median if low == high else f"{median} ({low} to {high})"


def ratio_text(value):
    return "-" if value is None else f"{value:.2f}"


def markdown_table(head, rows):
    """The first column is text, the others are numbers."""
    lines = [head, ["---"] + ["---:"] * (len(head) - 1), *rows]
    return "".join("| " + " | ".join(str(cell) for cell in line) + " |\n" for line in lines)


def goal_table(goals):
    """Of a list of {"goal": text, "measured": text, "met": bool}."""
    rows = [[goal["goal"], goal["measured"], "met" if goal["met"] else "missed"] for goal in goals]
    return markdown_table(["goal", "measured", ""], rows)


def machine():
    """The machine that the figures were measured on."""
    model = "unknown"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    return {
        "processor": model,
        "cores": os.cpu_count(),
        "kernel": platform.release(),
        "load": [round(load, 2) for load in os.getloadavg()],
    }


def plot_figure(path, draw):
    """Writes what `draw(axes)` draws as an SVG; does nothing without matplotlib."""
    try:
        import matplotlib
    except ImportError:
        return
    matplotlib.use("svg")
    matplotlib.rcParams["svg.hashsalt"] = "clamp"  # the same figures give the same file
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(figsize=(7, 4))
    draw(axes)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)
