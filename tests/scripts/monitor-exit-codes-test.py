#!/usr/bin/python3
"""clamp-monitor's exit codes and its version.

    monitor-exit-codes-test.py CLAMP-MONITOR VERSION
"""

import subprocess
import sys

MONITOR, VERSION = sys.argv[1:]

# (arguments, exit code, what standard output, or with the code 2 standard error, starts with)
CASES = [
    (["--version"], 0, f"clamp-monitor {VERSION}\n"),
    (["--help"], 0, "Usage: clamp-monitor"),
    (["--jsn"], 2, 'clamp-monitor: unknown argument "--jsn"'),
    (["--check", "--json"], 2, "clamp-monitor: --check takes no other argument"),
]

failures = 0
for arguments, code, start in CASES:
    done = subprocess.run([MONITOR, *arguments], capture_output=True, text=True, check=False)
    text = done.stderr if code else done.stdout
    if done.returncode != code or not text.startswith(start):
        print(f"{arguments}: expected exit code {code} and {start!r}; got {done.returncode} and {text!r}")
        failures += 1
sys.exit(1 if failures else 0)
