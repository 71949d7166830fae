"""The road of a notification: from the server's send to the application's callback, paced and in a flood."""

import common
import contestants

NAME = "road"

RATE = 1000  # messages per second, paced
SIZE = 165  # bytes of an element's JSON text


def measure(contestant, options, log, rate, count, warm_up, preload=None):
    """One run of one contestant with a new server, client and, if needed, broker."""
    with common.workplace() as place:
        table = common.TimeTable(place / "times", count)
        with contestant.session(options, place, log) as session:
            sending = ["--count", count, "--rate", rate, "--size", SIZE, "--times", table.path]
            receiving = ["--count", count, "--warm-up", warm_up, "--times", table.path]
            with common.Program(session.server(sending), log) as server:
                address = server.expect("ready").get("address")
                with common.Program(session.client(receiving, address), log, preload=preload) as client:
                    client.expect("ready")
                    broker_before = session.broker.cpu_time() if session.broker else 0
                    server.say("start")
                    limit = 60 + (count / rate if rate else 0)
                    sent = server.expect("figures", limit)
                    got = client.expect("figures", limit)
                    broker_time = session.broker.cpu_time() - broker_before if session.broker else 0
                    client.finish()
        if got["received"] != count or got["wrong"]:
            raise common.Failure(f"{contestant.name}: {count} sent, {got['received']} received, {got['wrong']} wrong")
        messages = got["messages"]
        result = {
            "lost": count - got["received"],
            "messagesPerSecond": messages / got["wallTime"] * 1e9,
            "cpuPerMessage": got["cpuTime"] / messages / 1e3,
            "switchesPerMessage": (got["voluntarySwitches"] + got["involuntarySwitches"]) / messages,
            "residentMiB": got["residentBytes"] / 2**20,
            "serverMessagesPerSecond": sent["messages"] / sent["wallTime"] * 1e9,
            "serverBusy": sent["cpuTime"] / sent["wallTime"],
            "serverCpuPerMessage": sent["cpuTime"] / sent["messages"] / 1e3,
            "threadCpuPerMessage": {
                name: time / messages / 1e3 for name, time in got["threadCpuTime"].items() if time > 0
            },
        }
        if session.broker:
            result["brokerCpuPerMessage"] = broker_time / count / 1e3
        if rate:
            latencies = table.latencies(warm_up)
            result["p50"] = common.percentile(latencies, 0.5) / 1e3
            result["p99"] = common.percentile(latencies, 0.99) / 1e3
            result["p999"] = common.percentile(latencies, 0.999) / 1e3
        if "allocations" in got:
            result["allocationsPerMessage"] = {
                name: {"count": use["count"] / messages, "bytes": use["bytes"] / messages}
                for name, use in got["allocations"].items()
                if use["count"] > 0
            }
        return result


def server_limit(options, log):
    """The rate at which the server sends to a client that only empties its socket, in messages per second."""
    count = 20_000 if options.quick else 500_000
    with common.Program(
        [options.program("bus/bench-bus"), "--count", count, "--rate", 0, "--size", SIZE], log
    ) as server:
        address = server.expect("ready")["address"]
        with common.Program([options.program("road/road-drain"), "--address", address], log) as drain:
            drain.expect("ready")
            server.say("start")
            sent = server.expect("figures", 60)
    return sent["messages"] / sent["wallTime"] * 1e9


def collect(field, options, measure_one):
    """Runs all contestants, interleaved. Returns their figures by name."""
    by_name = {contestant.name: contestant for contestant in field}
    repeats = common.interleaved(by_name, options.repeats, lambda name: measure_one(by_name[name]))
    figures = {}
    for name, runs in repeats.items():
        plain = [{key: value for key, value in run.items() if not isinstance(value, dict)} for run in runs]
        threads = {thread for run in runs for thread in run["threadCpuPerMessage"]}
        figures[name] = common.summaries(plain)
        figures[name]["threadCpuPerMessage"] = {
            thread: common.summary([run["threadCpuPerMessage"].get(thread, 0) for run in runs])
            for thread in sorted(threads)
        }
    return figures


def flood_row(contestant, own, floor):
    rate = {key: own["messagesPerSecond"][key] / 1e3 for key in ("median", "min", "max")}
    return [
        contestant.title,
        common.spread_text(rate, 0),
        common.ratio_text(common.ratio(own["messagesPerSecond"], floor["messagesPerSecond"])),
        common.spread_text(own["cpuPerMessage"], 2),
        common.ratio_text(common.ratio(own["cpuPerMessage"], floor["cpuPerMessage"])),
        common.spread_text(own["brokerCpuPerMessage"], 2) if "brokerCpuPerMessage" in own else "-",
        f"{own['serverMessagesPerSecond']['median'] / 1e3:,.0f}",
        f"{own['serverBusy']['median']:.0%}",
        f"{own['residentMiB']['median']:.1f}",
    ]


def tables(field, results):
    paced, flood, allocations = results["paced"], results["flood"], results["allocations"]
    floor = contestants.FLOOR
    text = (
        f"Paced at {RATE:,} messages a second; median of {results['repeats']} repeats (from, to); "
        "ratio to the floor.\n\n"
    )
    text += common.markdown_table(
        ["client", "p50 (µs)", "ratio", "p99 (µs)", "ratio", "CPU (µs/message)", "switches/message"],
        [
            [
                contestant.title,
                common.spread_text(paced[contestant.name]["p50"]),
                common.ratio_text(common.ratio(paced[contestant.name]["p50"], paced[floor]["p50"])),
                common.spread_text(paced[contestant.name]["p99"]),
                common.ratio_text(common.ratio(paced[contestant.name]["p99"], paced[floor]["p99"])),
                common.spread_text(paced[contestant.name]["cpuPerMessage"]),
                common.spread_text(paced[contestant.name]["switchesPerMessage"]),
            ]
            for contestant in field
        ],
    )
    text += f"\nFlood, nothing lost. The server alone sends {results['serverLimit'] / 1e3:,.0f} thousand a second.\n\n"
    text += common.markdown_table(
        [
            "client", "thousand/s", "ratio", "CPU (µs/message)", "ratio", "broker CPU (µs/message)",
            "server thousand/s", "server busy", "resident (MiB)",
        ],
        [flood_row(contestant, flood[contestant.name], flood[floor]) for contestant in field],
    )
    text += "\nPer thread of the client, in a flood; allocations are of a run of their own.\n\n"
    rows = []
    for contestant in field:
        times = flood[contestant.name]["threadCpuPerMessage"]
        counts = allocations[contestant.name]
        for thread in sorted({*times, *counts}):
            time = times.get(thread, {"median": 0})["median"]
            use = counts.get(thread, {"count": 0, "bytes": 0})
            if time >= 0.01 or use["count"] >= 0.005:
                rows.append([contestant.title, thread, f"{time:.2f}", f"{use['count']:.2f}", f"{use['bytes']:,.0f}"])
    text += common.markdown_table(
        ["client", "thread", "CPU (µs/message)", "allocations/message", "bytes/message"], rows
    )
    return text


def plot(field, results, path):
    def draw(axes):
        names = [contestant.title for contestant in field]
        for shift, (key, label) in enumerate((("p50", "p50"), ("p99", "p99"))):
            figures = [results["paced"][contestant.name][key] for contestant in field]
            medians = [figure["median"] for figure in figures]
            errors = [
                [figure["median"] - figure["min"] for figure in figures],
                [figure["max"] - figure["median"] for figure in figures],
            ]
            places = [index + 0.4 * shift - 0.2 for index in range(len(names))]
            axes.barh(places, medians, height=0.38, xerr=errors, label=label)
        axes.set_yticks(range(len(names)), names)
        axes.invert_yaxis()
        axes.set_xlabel(f"µs from send to callback, {RATE:,} messages a second")
        axes.legend()

    common.plot_figure(path, draw)


def run(options):
    field = contestants.field(options)
    log = options.out / "road.log"
    log.write_text("")
    paced_count, paced_warm_up = (700, 200) if options.quick else (6000, 1000)
    results = {"repeats": options.repeats, "rate": RATE, "elementSize": SIZE}
    common.progress("  what the server can do")
    results["serverLimit"] = server_limit(options, log)
    common.progress("  paced")
    results["paced"] = collect(
        field, options, lambda one: measure(one, options, log, RATE, paced_count, paced_warm_up)
    )

    def flood(one, preload=None):
        count = 10_000 if options.quick else one.flood_count
        return measure(one, options, log, 0, count, count // 10, preload)

    common.progress("  flood")
    results["flood"] = collect(field, options, flood)
    common.progress("  allocations")
    results["allocations"] = {
        one.name: flood(one, options.allocation_counter).get("allocationsPerMessage", {}) for one in field
    }
    floor = contestants.FLOOR
    results["ratios"] = {
        one.name: {
            **{
                key: common.ratio(results["paced"][one.name][key], results["paced"][floor][key])
                for key in ("p50", "p99")
            },
            **{
                key: common.ratio(results["flood"][one.name][key], results["flood"][floor][key])
                for key in ("messagesPerSecond", "cpuPerMessage")
            },
        }
        for one in field
    }
    results["markdown"] = tables(field, results)
    plot(field, results, options.out / "road.svg")
    return results
