#!/usr/bin/python3
"""Runs groups of benchmarks and writes their results. scripts/bench builds what they need and starts this.

A group is a module beside this one with NAME and run(options) -> dict. What it returns is written to <name>.json, its
member "markdown" to <name>.md too.
"""

import argparse
import importlib
import json
import pathlib
import subprocess
import sys
import time
import traceback

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import common  # noqa: E402

GROUPS = ("road", "start", "idle", "scale", "micro")


def available():
    return [group for group in GROUPS if (HERE / f"{group}.py").is_file()]


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/bench", description="Measures the library beside its references.")
    parser.add_argument("--quick", action="store_true", help="one small repeat: does it run, is nothing lost?")
    parser.add_argument("--peers", action="store_true", help="MQTT, gRPC and D-Bus too")
    parser.add_argument("--repeats", type=int, default=5, metavar="N", help="turns of each contestant (5)")
    parser.add_argument("--out", type=pathlib.Path, metavar="DIR", help="of the results (BUILD/results)")
    parser.add_argument("--build", type=pathlib.Path, default=common.ROOT / "build/bench", help=argparse.SUPPRESS)
    parser.add_argument("groups", nargs="*", metavar="GROUP", help=f"of {', '.join(available())}; default: all")
    chosen = parser.parse_args()
    if chosen.repeats < 1:
        parser.error("--repeats must be at least 1")
    for group in chosen.groups:
        if group not in available():
            parser.error(f"there is no group {group!r}")
    return chosen


def main():
    chosen = arguments()
    out = chosen.out or chosen.build / "results"
    out.mkdir(parents=True, exist_ok=True)
    options = common.Options(
        build=chosen.build.resolve(), out=out, quick=chosen.quick, peers=chosen.peers, repeats=chosen.repeats
    )
    failed = []
    for name in chosen.groups or available():
        group = importlib.import_module(name)
        common.progress(f"{group.NAME}:")
        before = common.machine()
        started = time.monotonic()
        try:
            results = group.run(options)
        except Exception as failure:  # the other groups still run
            if not isinstance(failure, (common.Failure, subprocess.SubprocessError)):
                traceback.print_exc()
            print(f"{group.NAME} has failed: {failure}", file=sys.stderr, flush=True)
            failed.append(group.NAME)
            continue
        document = {
            "group": group.NAME,
            "quick": options.quick,
            "repeats": options.repeats,
            "seconds": round(time.monotonic() - started, 1),
            "machine": before,
            "loadAfterwards": common.machine()["load"],
            "results": results,
        }
        (out / f"{group.NAME}.json").write_text(json.dumps(document, indent=1) + "\n")
        markdown = results.get("markdown", "")
        (out / f"{group.NAME}.md").write_text(markdown)
        print(f"\n{markdown}", flush=True)
    if failed:
        print(f"Failed: {', '.join(failed)}", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
