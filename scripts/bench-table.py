#!/usr/bin/python3
"""Makes one Markdown table for each suite of the benchmarks in a folder of results.

Usage: bench-table.py [--docs] FOLDER

The folder has Google Benchmark's JSON files with all runs, and files *.tsv with lines of a benchmark's
name and a count, or a number followed by "ns" or "bytes"; lines of the same name are its runs. A figure
is the median of its runs, and its spread half the distance between the quartiles. --docs puts the
tables between the markers of Docs/performance.md and draws Docs/growth.svg from the suite "Growth",
whose contenders are factors of the work.
"""

import json
import pathlib
import platform
import re
import statistics
import subprocess
import sys

BEGIN, END = "<!-- tables -->\n", "<!-- end of tables -->\n"
NOT_COUNTERS = {
    "family_index", "per_family_instance_index", "repetitions", "repetition_index", "threads",
    "iterations", "real_time", "cpu_time",
}
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
GROWTH = "Growth"
WITHOUT_RATIO = {"Memory", "Size"}


def shown_time(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def shown_count(count):
    return f"{count:,.0f}"


def shown_bytes(count):
    return f"{count / 1024:,.0f} KiB"


SHOWN = {"ns": shown_time, "bytes": shown_bytes}


class Figure:
    """The runs of one contender in one line."""

    def __init__(self, shown):
        self.runs = []
        self.shown = shown

    def median(self):
        return statistics.median(self.runs)

    def quartiles(self):
        if len(self.runs) < 2:
            return self.runs[0], self.runs[0]
        low, _, high = statistics.quantiles(self.runs, n=4, method="inclusive")
        return low, high

    def text(self):
        text = self.shown(self.median())
        low, high = self.quartiles()
        if self.shown is shown_time and len(self.runs) > 1 and self.median() > 0:
            text += f" ±{(high - low) / 2 / self.median() * 100:.0f} %"
        return text


def is_hidden(line):
    """Whether the spread hides which of the two fastest is faster."""
    first, second = sorted(line.values(), key=Figure.median)[:2]
    return first.shown is shown_time and first.quartiles()[1] >= second.quartiles()[0]


class Suites:
    """Suite -> line -> contender -> figure; lines and contenders in order of appearance."""

    def __init__(self):
        self.suites = {}

    def add(self, name, value, shown, suffix=""):
        suite, case, contender = name.split("/", 2)
        line = self.suites.setdefault(suite, {}).setdefault(case + suffix, {})
        line.setdefault(contender, Figure(shown)).runs.append(value)

    def names(self):
        return sorted(self.suites, key=lambda suite: suite == GROWTH)

    def table(self, suite):
        lines = self.suites[suite]
        contenders = list(dict.fromkeys(name for line in lines.values() for name in line))
        yield "| " + " | ".join([suite, *contenders]) + " |"
        yield "|---|" + "---:|" * len(contenders)
        for case, line in lines.items():
            has_ratio = len(line) > 1 and suite not in WITHOUT_RATIO
            fastest = min(figure.median() for figure in line.values())
            cells = []
            for contender in contenders:
                if contender not in line:
                    cells.append("")
                    continue
                figure = line[contender]
                ratio = f" ({figure.median() / fastest:.2f})" if has_ratio and fastest > 0 else ""
                cells.append(figure.text() + ratio)
            if has_ratio and suite != GROWTH and is_hidden(line):
                case += " (the spread hides the difference)"
            yield "| " + " | ".join([case.replace("|", "\\|"), *cells]) + " |"


def read(folder):
    suites = Suites()
    for file in sorted(folder.glob("*.json")):
        runs = json.loads(file.read_text())["benchmarks"]
        for run in sorted(runs, key=lambda run: run["family_index"]):
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            if run["run_type"] != "iteration":
                continue
            name = re.sub("/iterations:[0-9]+|/real_time", "", run["run_name"])
            suites.add(name, run["real_time"] * NANOSECONDS[run["time_unit"]], shown_time)
            for counter, value in run.items():
                if counter not in NOT_COUNTERS and isinstance(value, (int, float)):
                    suites.add(name, value, shown_count, ", " + counter)
    for file in sorted(folder.glob("*.tsv")):
        for line in file.read_text().splitlines():
            name, value, *unit = line.split("\t")
            suites.add(name, float(value), SHOWN[unit[0]] if unit else shown_count)
    return suites


def draw_growth(lines, picture):
    """The time for a unit of work, against that of the least work: a flat line grows with the work."""
    blocks, plots = [], []
    for place, (case, line) in enumerate(lines.items()):
        least = line["1"].median()
        points = sorted((int(factor), figure) for factor, figure in line.items())
        rows = [f"{factor} {figure.median() / factor / least:.6g}" for factor, figure in points]
        blocks.append(f"$data{place} << EOD\n" + "\n".join(rows) + "\nEOD\n")
        title = case.replace("\\", "\\\\").replace('"', '\\"')
        plots.append(f'$data{place} using 1:2 with linespoints title "{title}"')
    script = "".join(blocks) + "\n".join([
        "set terminal svg noenhanced size 1000,900 background rgb 'white'",
        f"set output '{picture}'",
        "set logscale xy",
        "set xrange [1:100]",
        "set xtics (1, 10, 100)",
        "set xlabel 'times the work'",
        "set ylabel 'time for a unit of work, at the least work 1'",
        "set grid",
        "set key below Left reverse maxcols 2",
        "plot " + ", \\\n  ".join(plots),
    ]) + "\n"
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def main(arguments):
    docs = "--docs" in arguments
    folder = pathlib.Path([argument for argument in arguments if argument != "--docs"][0])
    suites = read(folder)
    text = (f"{processor()}, {platform.freedesktop_os_release()['PRETTY_NAME']}. "
            "Medians of nine runs, ± half the distance between their quartiles.\n")
    for suite in suites.names():
        text += "\n" + "\n".join(suites.table(suite)) + "\n"
    print(text, end="")
    if docs:
        text += "\n![Time for a unit of work at 1, 10 and 100 times the work](growth.svg)\n"
        page = pathlib.Path("Docs/performance.md")
        parts = re.fullmatch(f"(.*{BEGIN}).*({END}.*)", page.read_text(), re.DOTALL)
        page.write_text(f"{parts[1]}\n{text}\n{parts[2]}")
        draw_growth(suites.suites[GROWTH], page.with_name("growth.svg"))


main(sys.argv[1:])
