"""The pieces of the library beside well-known libraries that do the same work: bench/micro."""

import json
import statistics
import subprocess
from pathlib import Path

NAME = "micro"

PROGRAMS = ["micro_json", "micro_data_objects", "micro_logging", "micro_handover"]

# The library's own contender, as bench/micro/Subject.h names it.
OURS = "clamp"

# Goals: subject, what is asked, and whether the medians say so.
GOALS = [
    ("LogLineDisabled", "at most 25 ns", lambda ours, reference: ours <= 25.0),
    ("LogEntry", "at most the time of fmt", lambda ours, reference: ours <= reference),
]

UNITS_IN_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def arguments(quick):
    # Interleaved, so that what else goes on in the machine meets all contenders alike.
    return [
        "--benchmark_format=json",
        "--benchmark_enable_random_interleaving=true",
        f"--benchmark_repetitions={3 if quick else 5}",
        f"--benchmark_min_time={0.005 if quick else 0.1}",
    ]


def nanoseconds(repetition):
    """The time of the thread that works alone; where it hands over to another one, that on the clock."""
    between_threads = repetition["run_name"].endswith(("/real_time", "/manual_time"))
    key = "real_time" if between_threads else "cpu_time"
    return repetition[key] * UNITS_IN_NS[repetition["time_unit"]]


def evaluate(repetitions):
    """The contenders of each subject, in the order in which they were registered: median and spread in
    nanoseconds."""
    times = {}
    references = {}
    order = {}
    for repetition in repetitions:
        if repetition["run_type"] != "iteration":
            continue
        if repetition.get("error_occurred"):
            raise RuntimeError(f"{repetition['name']}: {repetition['error_message']}")
        # After these two come the library's own words: how it was timed.
        subject, contender = repetition["run_name"].split("/")[:2]
        times.setdefault(subject, {}).setdefault(contender, []).append(nanoseconds(repetition))
        order[subject, contender] = repetition["family_index"]
        if repetition.get("label") == "reference":
            references[subject] = contender

    subjects = []
    for subject in sorted(times, key=lambda name: order[name, OURS]):
        contenders = {}
        for contender in sorted(times[subject], key=lambda name: order[subject, name]):
            values = times[subject][contender]
            median = statistics.median(values)
            contenders[contender] = {"median_ns": median, "spread": (max(values) - min(values)) / median}
        reference = contenders[references[subject]]["median_ns"]
        for figures in contenders.values():
            figures["ratio"] = figures["median_ns"] / reference
        subjects.append({"subject": subject, "reference": references[subject], "contenders": contenders})
    return subjects


def goals(subjects):
    found = []
    by_name = {subject["subject"]: subject for subject in subjects}
    for name, asked, holds in GOALS:
        contenders = by_name[name]["contenders"]
        ours = contenders[OURS]["median_ns"]
        reference = contenders[by_name[name]["reference"]]["median_ns"]
        found.append({"subject": name, "goal": asked, "measured_ns": ours, "met": holds(ours, reference)})
    return found


def table(subjects, goal_results):
    lines = [
        "| subject | contender | median (ns) | spread | against the reference |",
        "| --- | --- | ---: | ---: | ---: |",
    ]
    for subject in subjects:
        for contender, figures in subject["contenders"].items():
            is_reference = contender == subject["reference"]
            lines.append(
                f"| {subject['subject']} | {contender} | {figures['median_ns']:,.1f} | {figures['spread']:.0%} "
                f"| {'reference' if is_reference else format(figures['ratio'], '.2f')} |"
            )
    lines += ["", "| goal | | measured (ns) | |", "| --- | --- | ---: | --- |"]
    for goal in goal_results:
        lines.append(
            f"| {goal['subject']} | {goal['goal']} | {goal['measured_ns']:,.1f} | {'met' if goal['met'] else 'missed'} |"
        )
    return "\n".join(lines) + "\n"


def run(options):
    directory = Path(options.build) / "bench" / "micro"
    repetitions = []
    for position, program in enumerate(PROGRAMS):
        output = subprocess.run(
            [directory / program, *arguments(options.quick)], check=True, stdout=subprocess.PIPE, timeout=1200
        ).stdout
        for repetition in json.loads(output)["benchmarks"]:
            # Families are numbered per program.
            repetition["family_index"] += 1000 * position
            repetitions.append(repetition)
    subjects = evaluate(repetitions)
    goal_results = goals(subjects)
    return {"subjects": subjects, "goals": goal_results, "markdown": table(subjects, goal_results)}
