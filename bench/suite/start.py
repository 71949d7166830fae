"""How long an application takes from the start of its process to the first clamp state."""

import json
import statistics
import subprocess

import common

NAME = "start"

NOTHING = "start-nothing"
BARE = "start-bare"
CLAMP = "start-clamp"
CONTESTANTS = [NOTHING, BARE, CLAMP]

# Name, and the first and last mark of the interval. None is the start of the process.
MILESTONES = [
    ("process start to `main()`", None, "main"),
    ("process start to connected", None, "connected"),
    ("process start to first clamp state", None, "state"),
    ("`main()` to connected", "main", "connected"),
    ("`main()` to first clamp state", "main", "state"),
]
STEPS = [
    ("exec and dynamic linking", None, "main"),
    ("logging set up (files and two threads of libdlt)", "main", "logging"),
    ("client constructed (configuration, three threads)", "logging", "constructed"),
    ("connected (TCP, WebSocket, callback)", "constructed", "connected"),
    ("first clamp state (HTTP request, subscription, callback)", "connected", "state"),
]


def measure(options, place, port, rounds, log):
    """One repeat: all contestants in turn, `rounds` times. Returns the median of every mark, in nanoseconds."""
    programs = [options.program(f"start/{contestant}") for contestant in CONTESTANTS]
    launch = [options.program("start/start-launcher"), str(rounds), port]
    command = common.client_command(place, port, [*launch, *programs])
    with log.open("ab") as errors:
        launcher = subprocess.run(command, stdout=subprocess.PIPE, stderr=errors, timeout=600, check=True)
    lines = launcher.stdout.decode().splitlines()
    marks = {contestant: {} for contestant in CONTESTANTS}
    for contestant, line in zip(lines[::2], lines[1::2]):
        for name, time in json.loads(line)["marks"].items():
            marks[contestant].setdefault(name, []).append(time)
    return {
        contestant: {name: statistics.median(times) for name, times in of_contestant.items()}
        for contestant, of_contestant in marks.items()
    }


def between(repeats, contestant, begin, end):
    """Milliseconds, or nothing when the contestant has no such mark."""
    if end not in repeats[0][contestant]:
        return None
    return common.summary(
        [(repeat[contestant][end] - (repeat[contestant][begin] if begin else 0)) / 1e6 for repeat in repeats]
    )


def table(milestones, steps):
    head = ["ms", "only `main()`", "bare client", "clamp client", "clamp / bare"]
    rows = []
    for name, milestone in milestones.items():
        cells = [common.spread_text(milestone[c], 2) if milestone[c] else "" for c in CONTESTANTS]
        rows.append([name, *cells, common.ratio_text(milestone["ratio"])])
    text = common.markdown_table(head, rows)
    return text + "\n" + common.markdown_table(
        ["step of the clamp client", "ms"], [[name, common.spread_text(step, 2)] for name, step in steps.items()]
    )


def run(options):
    log = options.out / "start.log"
    log.write_bytes(b"")
    rounds = 5 if options.quick else 20
    with common.workplace() as place, common.Program([options.program("bus/bench-bus")], log) as bus:
        port = bus.expect("ready")["address"]
        measure(options, place, port, 2, log)  # until every file is in memory
        repeats = []
        for repeat in range(options.repeats):
            common.progress(f"    {repeat + 1}/{options.repeats}")
            repeats.append(measure(options, place, port, rounds, log))

    milestones = {}
    for name, begin, end in MILESTONES:
        figures = {contestant: between(repeats, contestant, begin, end) for contestant in CONTESTANTS}
        milestones[name] = {**figures, "ratio": common.ratio(figures[CLAMP], figures[BARE])}
    steps = {name: between(repeats, CLAMP, begin, end) for name, begin, end in STEPS}
    whole = milestones["process start to first clamp state"]["ratio"]
    goals = [
        {
            "goal": "process start to first clamp state: at most 3 times the bare client's",
            "measured": f"{whole:.2f}",
            "met": whole <= 3,
        }
    ]
    return {
        "milestones": milestones,
        "steps": steps,
        "goals": goals,
        "markdown": table(milestones, steps) + "\n" + common.goal_table(goals),
    }
