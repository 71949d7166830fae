"""How the cost of a notification and the memory of a client grow: with subscriptions, clients, document size, and the
time that a handler takes. Every run is a flood, so waking up does not count."""

import contextlib
import pathlib

import common

NAME = "scale"

SIZE = 165  # bytes of an element's JSON text, unless the size varies

SUBSCRIPTIONS = [1, 10, 100, 1_000, 10_000]
CLIENTS = [1, 3, 10, 30, 100, 300]
SIZES = [100, 256, 1_024, 4_096, 16_384, 65_536]
HANDLER_TIMES = [0, 10_000, 100_000, 1_000_000]  # ns


def memory(process):
    """MiB: resident now, the peak so far, and the part that no file backs."""
    directory = pathlib.Path(f"/proc/{process}")
    status = dict(line.split(":", 1) for line in (directory / "status").read_text().splitlines())
    rollup = dict(line.split(":", 1) for line in (directory / "smaps_rollup").read_text().splitlines()[1:])

    def mebibytes(text):
        return int(text.split()[0]) / 1024

    return {
        "resident": mebibytes(status["VmRSS"]),
        "peak": mebibytes(status["VmHWM"]),
        "anonymous": mebibytes(rollup["Anonymous"]),
    }


def measure(options, log, changes, subscriptions=1, clients=1, size=SIZE, handler_time=0):
    """One run: a bus, clients that all connect before it begins, and a number of changes per subscription."""
    warm_up = max(1, changes // 10)
    with contextlib.ExitStack() as stack:
        bus = stack.enter_context(
            common.Program([options.program("bus/bench-bus"), "--count", changes, "--rate", 0, "--size", size], log)
        )
        command = [options.program("scale/scale-client"), "--port", bus.expect("ready")["address"]]
        command += ["--subscriptions", subscriptions, "--changes", changes, "--warm-up", warm_up]
        command += ["--handler-time", handler_time]
        programs = [stack.enter_context(common.Program(command, log)) for _ in range(clients)]
        for program in programs:
            program.expect("ready", 60)
        before = [memory(program.id) for program in programs]
        bus.say("start")
        figures = [program.expect("figures", 120) for program in programs]
        after = [memory(program.id) for program in programs]
        for program in programs:
            program.process.stdin.close()
        for program in programs:
            program.finish()
    messages = sum(each["messages"] for each in figures)
    if any(each["wrong"] for each in figures):
        raise common.Failure("notifications are out of order")

    def mean(values):
        values = list(values)
        return sum(values) / len(values)

    return {
        # The time of the handlers themselves is not counted.
        "cpu": sum(each["cpuTime"] - each["timeInHandlers"] for each in figures) / messages / 1e3,
        "wall": max(each["wallTime"] for each in figures) / messages / 1e3,
        "residentBefore": mean(each["resident"] for each in before),
        "anonymousBefore": mean(each["anonymous"] for each in before),
        "peak": mean(each["peak"] for each in after),
    }


def series(title, places, options, measure_one):
    common.progress(f"  {title}")
    repeats = common.interleaved(places, options.repeats, measure_one)
    return {place: common.summaries(runs) for place, runs in repeats.items()}


def line(points):
    """The straight line through points (x, y) that has the smallest relative errors: (y at 0, slope, largest relative
    error)."""
    weights = [1 / y**2 for _, y in points]
    total = sum(weights)
    x_mean = sum(w * x for w, (x, _) in zip(weights, points)) / total
    y_mean = sum(w * y for w, (_, y) in zip(weights, points)) / total
    slope = sum(w * (x - x_mean) * (y - y_mean) for w, (x, y) in zip(weights, points)) / sum(
        w * (x - x_mean) ** 2 for w, (x, _) in zip(weights, points)
    )
    start = y_mean - slope * x_mean
    return start, slope, max(abs(start + slope * x - y) / y for x, y in points)


def points(figures, key):
    return [(place, figure[key]["median"]) for place, figure in figures.items()]


def evaluate(results):
    subscriptions = results["subscriptions"]
    flatness = common.ratio(subscriptions[max(subscriptions)]["cpu"], subscriptions[min(subscriptions)]["cpu"])
    clients = results["clients"]
    crowd = common.ratio(clients[max(clients)]["cpu"], clients[min(clients)]["cpu"])
    _, per_byte, cost_error = line(points(results["sizes"], "cpu"))
    _, per_subscription, memory_error = line(points(subscriptions, "residentBefore"))
    handlers = results["handlers"]
    slowest = handlers[max(handlers)]
    growth = slowest["peak"]["median"] - slowest["residentBefore"]["median"]
    return [
        {
            "goal": f"cost of a notification with {max(subscriptions):,} subscriptions: within 10 % of that with one",
            "measured": f"{flatness - 1:+.1%}",
            "met": abs(flatness - 1) <= 0.1,
        },
        {
            "goal": "cost linear in the size of the document: within 25 % of a straight line",
            "measured": f"{per_byte * 1e3:.2f} ns per byte, at most {cost_error:.0%} off",
            "met": cost_error <= 0.25,
        },
        {
            "goal": "memory linear in the subscriptions: within 10 % of a straight line",
            "measured": f"{per_subscription * 2**20:,.0f} bytes each, at most {memory_error:.0%} off",
            "met": memory_error <= 0.1,
        },
        {
            "goal": f"cost of a notification with {max(clients)} clients on the bus: within 10 % of that with one",
            "measured": f"{crowd - 1:+.1%}",
            "met": abs(crowd - 1) <= 0.1,
        },
        {
            "goal": "memory bounded while a handler is slower than the bus: at most 4 MiB more",
            "measured": f"{growth:.2f} MiB",
            "met": growth <= 4,
        },
    ]


def table(results, goals):
    text = ""
    for title, key, memory_title, memory_key, scale in [
        ("subscriptions of one client", "subscriptions", "resident with all of them (MiB)", "residentBefore", 1),
        ("clients on one bus, a process each", "clients", "backed by no file, of each (MiB)", "anonymousBefore", 1),
        ("bytes of the document", "sizes", "resident at the most (MiB)", "peak", 1),
        ("µs that the handler takes", "handlers", "resident at the most (MiB)", "peak", 1_000),
    ]:
        figures = results[key]
        first = figures[min(figures)]
        text += common.markdown_table(
            [title, "CPU (µs/notification)", "against the first", "on the clock (µs/notification)", memory_title],
            [
                [
                    f"{place // scale:,}",
                    common.spread_text(figure["cpu"], 2),
                    common.ratio_text(common.ratio(figure["cpu"], first["cpu"])),
                    common.spread_text(figure["wall"], 2),
                    common.spread_text(figure[memory_key], 2),
                ]
                for place, figure in figures.items()
            ],
        )
        text += "\n"
    return text + common.goal_table(goals)


def plot(figures, key, x_title, y_title, path, is_proportional=False):
    def draw(axes):
        places = list(figures)
        medians = [figures[place][key]["median"] for place in places]
        errors = [
            [figures[place][key]["median"] - figures[place][key]["min"] for place in places],
            [figures[place][key]["max"] - figures[place][key]["median"] for place in places],
        ]
        axes.errorbar(places, medians, yerr=errors, marker="o", capsize=3)
        axes.set_xscale("log" if min(places) > 0 else "symlog")
        if is_proportional:
            axes.set_yscale("log")
            least, greatest = min(medians), max(medians)
            marks = [mark for mark in (1, 2, 5, 10, 20, 50, 100, 200, 500) if least / 2 <= mark <= greatest * 2]
            axes.set_yticks(marks, [f"{mark:,}" for mark in marks])
        else:
            axes.set_ylim(bottom=0)
        axes.set_xticks(places, [f"{place:,}" for place in places])
        axes.minorticks_off()
        axes.set_xlabel(x_title)
        axes.set_ylabel(y_title)
        axes.grid(alpha=0.3)

    common.plot_figure(path, draw)


def run(options):
    log = options.out / "scale.log"
    log.write_bytes(b"")
    notifications = 20_000 if options.quick else 200_000
    crowd = [1, 10, 30] if options.quick else CLIENTS

    def with_subscriptions(count):
        return measure(options, log, max(2, notifications // count), subscriptions=count)

    def with_clients(count):
        return measure(options, log, notifications // count, clients=count)

    def with_size(size):
        # Few enough that large documents do not take minutes.
        return measure(options, log, min(notifications, 1_000 * notifications // size), size=size)

    def with_handler(time):
        # Enough for four seconds, and more than the queue may hold.
        count = 1_500 if options.quick else min(notifications, 4_000_000_000 // max(time, 1))
        return measure(options, log, count, handler_time=time)

    results = {
        "subscriptions": series("subscriptions", SUBSCRIPTIONS, options, with_subscriptions),
        "clients": series("clients", crowd, options, with_clients),
        "sizes": series("document size", SIZES, options, with_size),
        "handlers": series("handlers", HANDLER_TIMES, options, with_handler),
    }
    results["goals"] = evaluate(results)
    results["markdown"] = table(results, results["goals"])
    for key, figure, x_title, y_title, is_proportional in [
        ("subscriptions", "cpu", "subscriptions", "µs of CPU per notification", False),
        ("subscriptions", "residentBefore", "subscriptions", "resident memory, MiB", False),
        ("clients", "cpu", "clients on the bus", "µs of CPU per notification", False),
        ("sizes", "cpu", "bytes of the document", "µs of CPU per notification", True),
        ("handlers", "cpu", "ns that the handler takes", "µs of CPU, without the handler's", False),
    ]:
        name = f"scale-{key}.svg" if figure == "cpu" else f"scale-{key}-memory.svg"
        plot(results[key], figure, x_title, y_title, options.out / name, is_proportional)
    return results
