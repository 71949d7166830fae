#!/usr/bin/python3
"""The demo detects a monitor that misses a change.

    demo-test.py SOURCE-DIRECTORY CLAMP-MONITOR ZEB-BUS-SIM

Runs the demo with clamp-monitor unchanged, and with its output edited: the nth line that contains a text is lost,
doubled, or printed with the other value. Only the first run may succeed.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

# (the edit, a text in the line, which of the lines with it; 0 for none)
EDITS = [
    ("nothing", "", 0),
    ("lose", '"clamp15"', 4),
    ("lose", '"notification"', 6),
    ("lose", '"connection"', 2),
    # The reason of the loss. On a slow machine, the wait for the first connection has been reported before it.
    ("lose", "disconnected", 1),
    ("lose", '"stopped"', 1),
    ("double", '"clamp15"', 3),
    ("negate", '"clamp15"', 5),
]


def edited_output(edit, text, number, monitor):
    """Runs in place of clamp-monitor: becomes clamp-monitor, with a child process that edits its output."""
    read_end, write_end = os.pipe()
    if os.fork() != 0:
        os.dup2(write_end, 1)
        os.close(read_end)
        os.close(write_end)
        os.execv(monitor[0], monitor)
    os.close(write_end)
    seen = 0
    for line in os.fdopen(read_end):
        seen += text in line
        if text in line and seen == number:
            if edit == "lose":
                continue
            if edit == "double":
                print(line, end="")
            if edit == "negate":
                line = line.replace("true", "TRUE").replace("false", "true").replace("TRUE", "false")
        print(line, end="", flush=True)


def run_demo(source, place, monitor, edit, text, number):
    # How long the demo waits for one event: long if all events come, short if one is known to be missing.
    patience = "30" if edit == "nothing" else "8"
    editor = f"{sys.executable} {os.path.abspath(__file__)} --edit {edit} '{text}' {number} {monitor}"
    return subprocess.run(
        [source / "scripts/demo-show.py", place, "--logs", place / "logs", "--patience", patience, "--monitor", editor],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
    )  # fmt: skip


def main():
    source, monitor, simulator = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    failures = 0
    with tempfile.TemporaryDirectory() as directory:
        place = pathlib.Path(directory)
        (place / "bin").mkdir()
        (place / "bin/zeb-bus-sim").symlink_to(simulator)
        for edit, text, number in EDITS:
            done = run_demo(source, place, monitor, edit, text, number)
            expected = 0 if edit == "nothing" else 1
            if done.returncode != expected:
                print(done.stdout)
                print(f"edit: {edit} {text} {number}; the demo ended with {done.returncode}, expected {expected}")
                failures += 1
    return 1 if failures else 0


if sys.argv[1] == "--edit":
    edited_output(sys.argv[2], sys.argv[3], int(sys.argv[4]), sys.argv[5:])
else:
    sys.exit(main())
