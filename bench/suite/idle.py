"""The cost of a connected and subscribed client that receives nothing."""

import contextlib
import pathlib
import time

import common

NAME = "idle"

BARE = "bare client"
CLAMP = "clamp client"
# Without logging libdlt does nothing, so this separates its share from the rest.
SILENT = "clamp client, no logging"
WATCHDOG = "clamp client, watchdog 1 s"

# By then the time limits of connecting and of the request have passed. Their timers were cancelled, but Asio leaves the
# kernel's timer armed, which wakes it once.
SETTLING = 5.5  # s

# The vehicle of scripts/demo: a complete server, which closes idle HTTP connections after a minute.
VEHICLE = common.ROOT / "examples/bus/vehicle.json"


class Snapshot:
    """What a process has used up to now, by thread name. Read from outside, which does not wake the process."""

    def __init__(self, process):
        directory = pathlib.Path(f"/proc/{process}")
        self.time = time.monotonic()
        self.switches = {}
        self.cpu = 0
        self.threads = 0
        for task in (directory / "task").iterdir():
            name = "main" if task.name == str(process) else (task / "comm").read_text().strip()
            status = dict(line.split(":", 1) for line in (task / "status").read_text().splitlines())
            switches = int(status["voluntary_ctxt_switches"]) + int(status["nonvoluntary_ctxt_switches"])
            self.switches[name] = self.switches.get(name, 0) + switches
            self.cpu += int((task / "schedstat").read_text().split()[0])
            self.threads += 1
        self.memory = {}  # bytes
        for line in (directory / "smaps_rollup").read_text().splitlines()[1:]:
            key, value = line.split(":")
            self.memory[key] = int(value.split()[0]) * 1024


def figures(before, after):
    minutes = (after.time - before.time) / 60
    result = {
        "wakeUps": (sum(after.switches.values()) - sum(before.switches.values())) / minutes,
        "cpu": (after.cpu - before.cpu) / 1e6 / minutes,
        "threads": after.threads,
        "resident": after.memory["Rss"] / 2**20,
        "private": (after.memory["Private_Clean"] + after.memory["Private_Dirty"]) / 2**20,
        "anonymous": after.memory["Anonymous"] / 2**20,
    }
    for thread, switches in after.switches.items():
        result[f"wakeUps {thread}"] = (switches - before.switches[thread]) / minutes
    return result


def measure(commands, repeats, minute, log):
    """Idle programs do not disturb each other, so all repeats of all contestants run during the same minute."""
    with contextlib.ExitStack() as stack:
        programs = []
        for _ in range(repeats):
            for contestant, command in commands.items():
                program = stack.enter_context(common.Program(command, log))
                program.expect("ready")
                programs.append((contestant, program))
        time.sleep(SETTLING)
        before = [Snapshot(program.id) for _, program in programs]
        time.sleep(minute)
        after = [Snapshot(program.id) for _, program in programs]
        for contestant, program in programs:
            if contestant == BARE:  # it only reads from its socket
                program.process.terminate()
    found = {contestant: [] for contestant in commands}
    for (contestant, _), first, second in zip(programs, before, after):
        found[contestant].append(figures(first, second))
    return {contestant: common.summaries(repeats) for contestant, repeats in found.items()}


def table(contestants):
    rows = []

    def add(title, key, digits):
        cells = [common.spread_text(each[key], digits) if key in each else "" for each in contestants.values()]
        rows.append([title, *cells])

    add("wake-ups per minute", "wakeUps", 1)
    keys = (key for each in contestants.values() for key in each if key.startswith("wakeUps "))
    for key in dict.fromkeys(keys):
        add(f"- {key.split()[1]}", key, 1)
    add("CPU, ms per minute", "cpu", 2)
    add("threads, the application's included", "threads", 0)
    add("resident memory, MiB", "resident", 2)
    add("- private to the process, MiB", "private", 2)
    add("- backed by no file, MiB", "anonymous", 2)
    return common.markdown_table(["", *contestants], rows)


def judge(contestants):
    clamp, silent, bare = (contestants[name] for name in (CLAMP, SILENT, BARE))
    threads = clamp["threads"]["median"] - 1
    above = clamp["resident"]["median"] - bare["resident"]["median"]
    return [
        {
            "goal": "watchdog off: no wake-up",
            "measured": f"{clamp['wakeUps']['median']:.0f} per minute",
            "met": clamp["wakeUps"]["max"] == 0,
        },
        {
            "goal": "the same without libdlt at work",
            "measured": f"{silent['wakeUps']['median']:.0f} per minute",
            "met": silent["wakeUps"]["max"] == 0,
        },
        {"goal": "at most 4 threads besides the application's", "measured": f"{threads:.0f}", "met": threads <= 4},
        {
            "goal": "resident memory at most 4 MiB above the bare client's",
            "measured": f"{above:.2f} MiB",
            "met": above <= 4,
        },
    ]


def run(options):
    log = options.out / "idle.log"
    log.write_bytes(b"")
    clamp = options.program("idle/idle-clamp")
    with common.workplace() as place, common.Program([options.build / "simulator/zeb-bus-sim", VEHICLE], log) as bus:
        port = bus.line().rstrip("/").rpartition(":")[2]
        watched = place / "watched"
        watched.mkdir()
        commands = {
            BARE: [options.program("idle/idle-bare"), port],
            CLAMP: common.client_command(place, port, [clamp]),
            SILENT: common.client_command(place, port, [clamp, "--silent"]),
            WATCHDOG: common.client_command(watched, port, [clamp], {"watchdogTimeout": 1000}),
        }
        contestants = measure(commands, options.repeats, 6 if options.quick else 60, log)
    goals = judge(contestants)
    return {
        "contestants": contestants,
        "goals": goals,
        "markdown": table(contestants) + "\n" + common.goal_table(goals),
    }
