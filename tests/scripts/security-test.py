#!/usr/bin/env python3
"""Checks that every test that docs/security.md names exists: `Suite` or `Suite.Name` in the last column of a table.

  security-test.py PROJECT
"""

import pathlib
import re
import sys

TEST = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)")


def tests_of(project):
    names = set()
    for source in (project / "tests").rglob("*.cpp"):
        for suite, name in TEST.findall(source.read_text(encoding="utf-8")):
            names.update({suite, f"{suite}.{name}"})
    return names


def promised_tests(page):
    for line in page.read_text(encoding="utf-8").splitlines():
        cells = line.strip().strip("|").split("|")
        if len(cells) == 2 and "`" in cells[1]:
            # Rows of the fault table are not test names.
            yield from re.findall(r"`([A-Z]\w+(?:\.\w+)?)`", re.sub(r"rows? .*", "", cells[1]))


def main():
    project = pathlib.Path(sys.argv[1])
    promised = list(promised_tests(project / "docs/security.md"))
    if not promised:
        sys.exit("docs/security.md names no test")
    known = tests_of(project)
    missing = [name for name in promised if name not in known]
    for name in missing:
        print(f"docs/security.md: there is no test {name}")
    sys.exit(1 if missing else 0)


main()
