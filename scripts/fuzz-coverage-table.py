#!/usr/bin/python3
"""Prints which lines the fuzz targets reach of what they are for (Fuzz/Lines.txt), as a table; of a
target that reaches fewer than 95 % of them also the lines that it does not reach. Ends with 1 then.

Usage: scripts/fuzz-coverage-table.py PROGRAMS PROFILES TARGET...
PROGRAMS is the folder of the targets, PROFILES that of their counts, TARGET.profdata.
"""

import collections
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PURPOSES = ROOT / "Fuzz/Lines.txt"
LEAST = 95.0


class Part:
    """A file, or some of its functions, and functions that are left out of it."""

    def __init__(self):
        self.is_whole = False
        self.functions = set()
        self.left_out = set()


def fail(text):
    sys.exit(f"{PURPOSES.relative_to(ROOT)}: {text}")


def purposes():
    targets = {}
    parts = None
    for number, line in enumerate(PURPOSES.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if not line.startswith(" "):
            parts = targets[line.strip()] = collections.defaultdict(Part)
            continue
        words, _, reason = line.partition(":")
        words = words.split()
        is_left_out = words[0] == "not"
        if is_left_out:
            words.pop(0)
            if len(words) < 2 or not reason.strip():
                fail(f"line {number}: what is left out needs functions and a reason")
        files = sorted(str(path.relative_to(ROOT)) for path in ROOT.glob(words[0]))
        if parts is None or not files:
            fail(f"line {number}: no such file, or no target before it")
        for name in files:
            if is_left_out:
                parts[name].left_out.update(words[1:])
            elif words[1:]:
                parts[name].functions.update(words[1:])
            else:
                parts[name].is_whole = True
    return targets


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def plain_path(name):
    """A file's path from the project's folder, however the compiler was given it."""
    path = os.path.normpath(os.path.join(ROOT, name))
    return os.path.relpath(path, ROOT)


def counts_of_lines(program, profile):
    """For each file the count of each line that holds code."""
    counts = collections.defaultdict(dict)
    lcov = run("llvm-cov", "export", "-format=lcov", "-instr-profile", profile, program)
    for line in lcov.splitlines():
        kind, _, rest = line.partition(":")
        if kind == "SF":
            name = plain_path(rest)
        elif kind == "DA":
            number, count = rest.split(",")[:2]
            counts[name][int(number)] = int(count)
    return counts


def plain_name(demangled):
    """A function's name with its classes, without arguments, namespaces' brackets and types."""
    text = demangled.replace("(anonymous namespace)::", "").replace("operator()", "operator")
    text = text.replace("[abi:cxx11]", "")
    name = ""
    depth = 0
    for character in text:
        if character == "<":
            depth += 1
        elif character == ">":
            depth -= 1
        elif depth == 0 and character == "(":
            break
        elif depth == 0:
            name += character
    return name.split(" ")[-1]


def places_of_functions(program, profile):
    """For each file the functions' names with their first and last line."""
    export = json.loads(run("llvm-cov", "export", "-skip-expansions", "-instr-profile", profile,
                            program))
    functions = export["data"][0]["functions"]
    mangled = [function["name"][max(function["name"].find("_Z"), 0):] for function in functions]
    names = subprocess.run(["c++filt"], input="\n".join(mangled), check=True, capture_output=True,
                           text=True).stdout.splitlines()
    places = collections.defaultdict(set)
    for function, name in zip(functions, names):
        first, _, last = function["regions"][0][:3]
        places[plain_path(function["filenames"][0])].add((plain_name(name), first, last))
    return places


def lines_of(file, part, counts, places):
    def ranges(wanted):
        found = []
        for name in wanted:
            of_name = [(first, last) for function, first, last in places.get(file, ())
                       if function == name or function.endswith("::" + name)]
            if not of_name:
                fail(f"{file} has no function {name}")
            found += of_name
        return found

    def lies_in(number, among):
        return any(first <= number <= last for first, last in among)

    wanted, left_out = ranges(part.functions), ranges(part.left_out)
    return {number: count for number, count in counts.get(file, {}).items()
            if (part.is_whole or lies_in(number, wanted)) and not lies_in(number, left_out)}


def ranges_of(numbers):
    parts = []
    for number in sorted(numbers):
        if parts and parts[-1][1] + 1 == number:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in parts)


def main(programs, profiles, targets):
    all_purposes = purposes()
    rows = []
    missing = []
    for target in targets:
        if target not in all_purposes:
            fail(f"{target} is not in it")
        program, profile = f"{programs}/{target}", f"{profiles}/{target}.profdata"
        counts = counts_of_lines(program, profile)
        places = places_of_functions(program, profile)
        lines = reached = 0
        files = []
        for file, part in all_purposes[target].items():
            of_file = lines_of(file, part, counts, places)
            if not of_file:
                continue  # A header of declarations alone.
            unreached = [number for number, count in of_file.items() if count == 0]
            lines += len(of_file)
            reached += len(of_file) - len(unreached)
            files.append((file, part, len(of_file), unreached))
        if lines == 0:
            fail(f"{target}: there is no line that it is for")
        share = 100 * reached / lines
        rows.append((target, len(files), lines, reached, share))
        if share < LEAST or "--all" in OPTIONS:
            missing.append((target, files))
    width = max(len(row[0]) for row in rows)
    print(f"{'Target':<{width}}  Files  Lines  Reached  Per cent")
    for target, files, lines, reached, share in rows:
        # Rounded down, so that 95 means it.
        print(f"{target:<{width}}  {files:>5}  {lines:>5}  {reached:>7}  {int(share * 10) / 10:>8}")
    for target, files in missing:
        print(f"\n{target} does not reach")
        for file, _, _, unreached in files:
            if unreached:
                print(f"  {file}:{ranges_of(unreached)}")
    return 1 if any(row[4] < LEAST for row in rows) else 0


if __name__ == "__main__":
    OPTIONS = {word for word in sys.argv[1:] if word.startswith("--")}
    WORDS = [word for word in sys.argv[1:] if not word.startswith("--")]
    sys.exit(main(WORDS[0], WORDS[1], WORDS[2:]))
