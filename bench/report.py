#!/usr/bin/python3
"""Turns the results of scripts/bench into tables and a plot.

Prints the tables, or writes each between its markers "<!-- NAME -->" and
"<!-- /NAME -->" in a Markdown file.
"""

import argparse
import json
import re
import statistics
import sys

FRAME_NS = 111_000  # the shortest that 8 bytes take on a classical CAN bus of 1 Mbit/s

TECHNOLOGIES = {
    "ours": "ours",
    "absl": "absl::StrCat",
    "fmt": "fmt::format",
    "to_string": "std::to_string and +",
    "string_streams": "std::ostringstream",
}


def medians(path):
    """The median of each benchmark's repetitions, by name and in the order of names."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    samples = {}
    for run in runs:
        if run["run_type"] == "iteration":
            samples.setdefault(run["run_name"], []).append(run)
    return {
        name: {
            "ns": statistics.median(run["time/op"] * 1e9 for run in of_name),
            "request_ns": statistics.median(run["cpu_time"] for run in of_name),
            "operations": of_name[0]["operations"],
            "allocs": of_name[0]["allocs/op"],
            "bytes": of_name[0]["bytes/op"],
        }
        for name, of_name in sorted(samples.items())
    }


def table(header, rows):
    """A Markdown table; all columns but the first are numbers."""
    cells = [header, ["---"] + ["--:"] * (len(header) - 1), *rows]
    return "\n".join("| " + " | ".join(row) + " |" for row in cells)


def number(value):
    return f"{value:.2f}".rstrip("0").rstrip(".")


def in_group(results, group):
    """The results below "group/", without that prefix."""
    prefix = group + "/"
    return {name[len(prefix):]: r for name, r in results.items() if name.startswith(prefix)}


def command_table(results):
    rows = []
    for name, set_ in in_group(results, "command").items():
        command, callbacks = name.split("/")
        if callbacks != "callbacks":
            continue
        empty = results[f"command/{command}/no_callbacks"]
        per = max(set_["operations"], 1)
        rows.append([
            f"`{command}`", number(set_["operations"]), f"{set_['ns']:.0f}", f"{empty['ns']:.0f}",
            number(set_["allocs"]), number(set_["bytes"]),
            f"{set_['request_ns'] / per / FRAME_NS:.2%}" if set_["operations"] else "",
        ])
    return table(["request", "operations", "ns/op", "ns/op, no callbacks", "allocations/op",
                  "bytes/op", "of a CAN frame"], rows)


def request_table(results):
    rows = []
    for request in ("led", "pump"):
        ours = results[f"request/{request}/orchestrator"]
        parts = {"orchestrator": "the orchestrator", "copied": "texts copied: the floor",
                 **TECHNOLOGIES, "ours": "the peers' path with our texts"}
        for key, title in parts.items():
            peer = results[f"request/{request}/{key}"]
            rows.append([f"{request}: {title}", f"{peer['ns']:.0f}",
                         f"{peer['ns'] / ours['ns']:.2f}", number(peer["allocs"]),
                         number(peer["bytes"])])
    return table(["request", "ns", "times ours", "allocations", "bytes"], rows)


def text_table(results):
    texts = in_group(results, "text")
    names = list(dict.fromkeys(name.split("/")[0] for name in texts))
    rows = []
    for name in names:
        ours = texts[f"{name}/ours"]["ns"]
        cells = [f"{texts[f'{name}/{key}']['ns'] / ours:.2f} ({number(texts[f'{name}/{key}']['allocs'])})"
                 for key in TECHNOLOGIES if key != "ours"]
        rows.append([f"`{name}`", f"{ours:.0f} ns ({number(texts[f'{name}/ours']['allocs'])})",
                     *cells])
    return table(["text", *TECHNOLOGIES.values()], rows)


def thread_table(results):
    titles = {"one/real_time/threads:1": "one thread",
              "two_groups/real_time/threads:2": "two threads, lights and actuators",
              "same_group/real_time/threads:2": "two threads, both actuators"}
    threads = in_group(results, "threads")
    alone = threads["one/real_time/threads:1"]["ns"]
    return table(["", "ns/op of all threads", "times one thread"],
                 [[title, f"{threads[key]['ns']:.0f}", f"{threads[key]['ns'] / alone:.2f}"]
                  for key, title in titles.items()])


def growth_table(results):
    growth = in_group(results, "growth")
    counts = sorted({int(name.split("/")[1]) for name in growth})
    rows = []
    for kind in ("motors", "claws", "valves"):
        of_kind = [growth.get(f"{kind}/{count}") for count in counts]
        rows.append([kind, *(f"{r['ns']:.0f}" if r else "" for r in of_kind)])
    return table(["ns/op with", *map(str, counts)], rows)


def stopping_table(stopping):
    columns = ("p50", "p90", "p99", "p99.9", "p100")
    return table(["µs", "samples", "p50", "p90", "p99", "p99.9", "max"],
                 [[name, str(row["samples"]), *(f"{row[column]:.0f}" for column in columns)]
                  for name, row in stopping["microseconds"].items()])


def write_into(path, tables):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for name, content in tables.items():
        block = re.compile(f"(<!-- {name} -->\n).*?(<!-- /{name} -->)", re.DOTALL)
        if not block.search(text):
            sys.exit(f"bench/report.py: {path} has no markers for the table \"{name}\"")
        text = block.sub(lambda match, new=content: match[1] + new + "\n" + match[2], text)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def plot(path, results):
    import matplotlib
    matplotlib.use("svg")
    import matplotlib.pyplot as plt
    plt.rcParams.update({"font.size": 9, "svg.hashsalt": "vantrel", "axes.spines.top": False,
                         "axes.spines.right": False})
    figure, (left, right) = plt.subplots(1, 2, figsize=(10.5, 3.8), width_ratios=[3, 2])
    ours, floor, other = "#1b6ca8", "#7f8c8d", "#d9a441"

    bars = {"copied": "texts copied (floor)", "orchestrator": "ours",
            **{key: title for key, title in TECHNOLOGIES.items() if key != "ours"}}
    base = results["request/led/orchestrator"]["ns"]
    for y, (key, title) in enumerate(reversed(bars.items())):
        peer = results[f"request/led/{key}"]
        ratio = peer["ns"] / base
        left.barh(y, ratio, color={"copied": floor, "orchestrator": ours}.get(key, other))
        left.text(ratio + 0.1, y, f"{ratio:.1f} ×,  {number(peer['allocs'])} allocations",
                  va="center")
    left.set_yticks(range(len(bars)), list(reversed(bars.values())))
    left.set_xlim(0, left.get_xlim()[1] * 1.3)
    left.set_title("An LED request, the same lines by other means", loc="left")
    left.set_xlabel("time, ours = 1")

    growth = in_group(results, "growth")
    for kind, colour, marker in (("motors", ours, "o"), ("claws", other, "s"),
                                 ("valves", floor, "^")):
        points = sorted((int(name.split("/")[1]), r["ns"]) for name, r in growth.items()
                        if name.startswith(kind + "/"))
        right.plot(*zip(*points), color=colour, marker=marker, markersize=4, label=kind)
    right.set_xscale("log", base=2)
    right.set_xticks([1, 2, 4, 8, 16, 32, 64], ["1", "2", "4", "8", "16", "32", "64"])
    right.set_ylim(0)
    right.set_title("An operation on a larger robot", loc="left")
    right.set_xlabel("motors, claws, valves of the robot")
    right.set_ylabel("ns per device operation")
    right.legend(frameon=False)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("benchmarks", help="JSON of the benchmarks")
    parser.add_argument("stopping", help="JSON of the stopping measurement")
    parser.add_argument("--into", help="Markdown file to write the tables into")
    parser.add_argument("--plot", help="SVG file to write")
    arguments = parser.parse_args()

    results = medians(arguments.benchmarks)
    with open(arguments.stopping, encoding="utf-8") as file:
        stopping = json.load(file)
    tables = {
        "commands": command_table(results),
        "requests": request_table(results),
        "texts": text_table(results),
        "threads": thread_table(results),
        "growth": growth_table(results),
        "stopping": stopping_table(stopping),
    }
    if arguments.into:
        write_into(arguments.into, tables)
    else:
        print("\n\n".join(tables.values()))
    if arguments.plot:
        plot(arguments.plot, results)


if __name__ == "__main__":
    main()
