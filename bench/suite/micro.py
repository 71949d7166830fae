"""Parts of the library compared with well-known libraries that do the same work: bench/micro."""

import json
import subprocess

import common

NAME = "micro"

PROGRAMS = ["micro_json", "micro_json_readers", "micro_data_objects", "micro_logging", "micro_handover"]

# The library's contender, as bench/micro/Subject.h names it.
OURS = "clamp"

UNITS_IN_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def measure(options, program):
    """The results of the program's benchmarks, one per repetition."""
    command = [
        options.program(f"micro/{program}"),
        "--benchmark_format=json",
        # Interleaved, so other load on the machine affects all contenders alike.
        "--benchmark_enable_random_interleaving=true",
        f"--benchmark_repetitions={options.repeats}",
        f"--benchmark_min_time={0.001 if options.quick else 0.1}",
    ]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, timeout=1800).stdout
    return [entry for entry in json.loads(output)["benchmarks"] if entry["run_type"] == "iteration"]


def nanoseconds(entry):
    """The processor time of the thread, or the wall time if it hands over to another thread."""
    between_threads = entry["run_name"].endswith(("/real_time", "/manual_time"))
    return entry["real_time" if between_threads else "cpu_time"] * UNITS_IN_NS[entry["time_unit"]]


def evaluate(entries):
    """For each subject its reference and its contenders, in the order in which the program names them."""
    subjects = {}
    # Interleaved repetitions are printed in any order.
    for entry in sorted(entries, key=lambda entry: entry["family_index"]):
        if entry.get("error_occurred"):
            raise common.Failure(f"{entry['name']}: {entry['error_message']}")
        # The parts after these two say how it was timed.
        subject, contender = entry["run_name"].split("/")[:2]
        found = subjects.setdefault(subject, {"reference": None, "times": {}})
        found["times"].setdefault(contender, []).append(nanoseconds(entry))
        if entry.get("label") == "reference":
            found["reference"] = contender

    results = {}
    for subject, found in subjects.items():
        contenders = {name: common.summary(times) for name, times in found["times"].items()}
        reference = contenders[found["reference"]]
        for figure in contenders.values():
            figure["ratio"] = common.ratio(figure, reference)
        results[subject] = {"reference": found["reference"], "nanoseconds": contenders}
    return results


def goals(subjects):
    off = subjects["LogLineDisabled"]["nanoseconds"][OURS]
    entry = subjects["LogEntry"]["nanoseconds"]
    return [
        {
            "goal": "a line through the facade whose level is off: at most 25 ns",
            "measured": f"{off['median']:.1f} ns",
            "met": off["median"] <= 25,
        },
        {
            "goal": "a log entry of text, int, long and hex: at most the time of fmt",
            "measured": f"{entry[OURS]['median']:.1f} ns against {entry['fmt']['median']:.1f} ns",
            "met": entry[OURS]["median"] <= entry["fmt"]["median"],
        },
    ]


def markdown(subjects, reached):
    rows = []
    for subject, results in subjects.items():
        for contender, figure in results["nanoseconds"].items():
            is_reference = contender == results["reference"]
            ratio = "reference" if is_reference else common.ratio_text(figure["ratio"])
            rows.append([f"{subject}/{contender}", common.spread_text(figure), ratio])
    text = common.markdown_table(["work/library", "ns", "ratio"], rows)
    return text + "\n" + common.goal_table(reached) if reached else text


def run(options):
    subjects = {}
    for program in PROGRAMS:
        common.progress(f"    {program}")
        subjects.update(evaluate(measure(options, program)))
    # A quick run is too short to compare with a goal.
    reached = [] if options.quick else goals(subjects)
    return {"subjects": subjects, "goals": reached, "markdown": markdown(subjects, reached)}
