#!/usr/bin/python3
"""Makes one Markdown table for each suite of the benchmarks in a folder of results.

Usage: bench-table.py [--docs] FOLDER

The folder has Google Benchmark's JSON files, of which the medians are taken, and files *.tsv with
lines of a benchmark's name and a count, or a time in nanoseconds followed by "ns". --docs puts the tables between the markers of
Docs/performance.md as well.
"""

import json
import pathlib
import platform
import re
import sys

BEGIN, END = "<!-- tables -->\n", "<!-- end of tables -->\n"
NOT_COUNTERS = {
    "family_index", "per_family_instance_index", "repetitions", "repetition_index", "threads",
    "iterations", "real_time", "cpu_time",
}
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def shown_time(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def shown_count(count):
    return f"{count:,.0f}"


class Suites:
    """Suite -> line -> contender -> text; lines and contenders in order of appearance."""

    def __init__(self):
        self.suites = {}

    def add(self, name, value, shown, suffix=""):
        suite, case, contender = name.split("/", 2)
        line = self.suites.setdefault(suite, {}).setdefault(case + suffix, {})
        line[contender] = (value, shown)

    def table(self, suite):
        lines = self.suites[suite]
        contenders = list(dict.fromkeys(name for line in lines.values() for name in line))
        yield "| " + " | ".join([suite, *contenders]) + " |"
        yield "|---|" + "---:|" * len(contenders)
        for case, line in lines.items():
            fastest = min(value for value, _ in line.values())
            cells = []
            for contender in contenders:
                if contender not in line:
                    cells.append("")
                    continue
                value, shown = line[contender]
                ratio = f" ({value / fastest:.2f})" if fastest > 0 and len(line) > 1 else ""
                cells.append(shown(value) + ratio)
            yield "| " + " | ".join([case, *cells]) + " |"


def read(folder):
    suites = Suites()
    for file in sorted(folder.glob("*.json")):
        runs = json.loads(file.read_text())["benchmarks"]
        for run in sorted(runs, key=lambda run: run["family_index"]):
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            if run.get("aggregate_name") != "median":
                continue
            name = run["run_name"].removesuffix("/real_time")
            suites.add(name, run["real_time"] * NANOSECONDS[run["time_unit"]], shown_time)
            for counter, value in run.items():
                if counter not in NOT_COUNTERS and isinstance(value, (int, float)):
                    suites.add(name, value, shown_count, ", " + counter)
    for file in sorted(folder.glob("*.tsv")):
        for line in file.read_text().splitlines():
            name, value, *unit = line.split("\t")
            suites.add(name, float(value), shown_time if unit == ["ns"] else shown_count)
    return suites


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def main(arguments):
    docs = "--docs" in arguments
    folder = pathlib.Path([argument for argument in arguments if argument != "--docs"][0])
    suites = read(folder)
    text = f"{processor()}, {platform.freedesktop_os_release()['PRETTY_NAME']}. Medians of nine runs.\n"
    for suite in suites.suites:
        text += "\n" + "\n".join(suites.table(suite)) + "\n"
    print(text, end="")
    if docs:
        page = pathlib.Path("Docs/performance.md")
        parts = re.fullmatch(f"(.*{BEGIN}).*({END}.*)", page.read_text(), re.DOTALL)
        page.write_text(f"{parts[1]}\n{text}\n{parts[2]}")


main(sys.argv[1:])
