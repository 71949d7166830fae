#!/usr/bin/env python3
"""Checks that every test that docs/security.md names exists: `Suite` or `Suite.Name` in the last column of a table, and
the faults of the fault table behind "with the fault".

  security-test.py PROJECT
"""

import pathlib
import re
import sys

NAME = re.compile(r"`([A-Z]\w+(?:\.\w+)?)`")
TEST = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)")


def tests_of(project):
    names = set()
    for source in (project / "tests").rglob("*.cpp"):
        for suite, name in TEST.findall(source.read_text(encoding="utf-8")):
            names.update({suite, f"{suite}.{name}"})
    return names


def faults_of(project):
    table = (project / "tests/e2e/FaultTable.h").read_text(encoding="utf-8")
    return set(re.findall(r"\bFault::(\w+)", table))


def promises_of(page):
    """Yields the tests and the faults that a row names."""
    for line in page.read_text(encoding="utf-8").splitlines():
        cells = line.strip().strip("|").split("|")
        if len(cells) == 2 and "`" in cells[1]:
            tests, _, faults = cells[1].partition(" with the fault")
            yield NAME.findall(tests), NAME.findall(faults)


def main():
    project = pathlib.Path(sys.argv[1])
    rows = list(promises_of(project / "docs/security.md"))
    tests = [name for row in rows for name in row[0]]
    faults = [name for row in rows for name in row[1]]
    if not tests or not faults:
        sys.exit("docs/security.md names no test or no fault")
    known_tests, known_faults = tests_of(project), faults_of(project)
    missing = [f"test {name}" for name in tests if name not in known_tests]
    missing += [f"fault {name}" for name in faults if name not in known_faults]
    for name in missing:
        print(f"docs/security.md: there is no {name}")
    sys.exit(1 if missing else 0)


main()
