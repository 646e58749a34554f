#!/usr/bin/python3
"""Runs clang-tidy on source files, leaving out those that it has passed already.

A file has passed when clang-tidy said nothing of the same text: the preprocessed unit with its
macros, the comments that clang-tidy heeds, the configuration, the compiler's arguments and the
tool's version. Where a line stands in a header does not matter. The stamps are empty files named by
the hash of all this, in ~/.cache/ondrel-tidy, shared by all clones; ONDREL_TIDY_CACHE names
another folder.

What clang-tidy works on most is the headers, so files that are compiled alike are put into one unit,
each at its own line numbers. When it says nothing of the unit, they have passed. When it does, or when
names of theirs are in each other's way, each of them is looked at alone.

Usage: tidy.py --build FOLDER [--jobs N] FILE...
"""

import argparse
import concurrent.futures
import contextlib
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get("ONDREL_TIDY_CACHE") or
                     pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") /
                     "ondrel-tidy")
STAMP = re.compile(r"[0-9a-f]{64}")
STAMP_DAYS = 60
# Comments that change what is said: suppressions, names of arguments, and what falls through.
HEEDED_COMMENT = re.compile(rb"NOLINT|/\*\s*\w+\s*=?\s*\*/|fall", re.IGNORECASE)
INCLUDE = re.compile(r"^\s*#\s*include\s*(\S+)", re.MULTILINE)
COMPILER_ERROR = re.compile(r"^(.+?):\d+:\d+: (?:fatal )?error: ", re.MULTILINE)
UNIT_FILES = 20
LINE_MARKER = re.compile(rb'^# \d+ "([^"]*)"', re.MULTILINE)


def commands(build):
    """The compiler's arguments for each source file, without those that name what is written. A file
    that several targets compile has several lists: clang-tidy looks at each of them."""
    result = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        arguments = shlex.split(entry["command"])
        if pathlib.Path(arguments[0]).name == "ccache":
            arguments = arguments[1:]
        kept = []
        words = iter(arguments[1:])
        for word in words:
            if word in ("-o", "-MF", "-MT", "-MQ"):
                next(words)
            elif word not in ("-c", "-MD", "-MMD"):
                kept.append(word)
        source = pathlib.Path(entry["directory"], entry["file"]).resolve()
        result.setdefault(source, []).append((entry["directory"], kept))
    return result


def configuration(source):
    """The text of every configuration file that may hold for a source file."""
    folders = [folder for folder in source.parents if folder == ROOT or ROOT in folder.parents]
    files = [folder / ".clang-tidy" for folder in folders]
    return [file.read_bytes() for file in files if file.exists()]


class Tidy:
    def __init__(self, build):
        self.build = build
        self.commands = commands(build)
        self.version = subprocess.run(["clang-tidy", "--version"], check=True, stdout=subprocess.PIPE).stdout

    def key(self, source):
        """The hash of all that clang-tidy's answer depends on; None when the unit does not compile."""
        digest = hashlib.sha256()

        def add(*parts):
            for part in parts:
                digest.update(len(part).to_bytes(8, "little"))
                digest.update(part)

        root = os.fsencode(ROOT)
        # The file itself as it stands.
        add(self.version, *configuration(source), os.fsencode(source.relative_to(ROOT)), source.read_bytes())
        for folder, arguments in self.commands[source]:
            unit = subprocess.run(["clang++", *arguments, "-E", "-dD", "-Wno-everything"], cwd=folder,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            if unit.returncode != 0:
                return None
            add(*(os.fsencode(argument).replace(root, b"") for argument in arguments))
            headers = {pathlib.Path(folder, os.fsdecode(name)).resolve()
                       for name in set(LINE_MARKER.findall(unit.stdout)) if not name.startswith(b"<")}
            for header in sorted(headers):
                if ROOT in header.parents and header != source:
                    add(*filter(HEEDED_COMMENT.search, header.read_bytes().splitlines()))
            lines = (line.strip() for line in unit.stdout.splitlines())
            add(b"\n".join(line for line in lines if line and not LINE_MARKER.match(line))
                .replace(root, b""))
        return digest.hexdigest()

    def stamp(self, source):
        """The file that says that a source file has passed; None when it does not compile."""
        key = self.key(source)
        return CACHE / key if key else None

    def check(self, source):
        """clang-tidy's exit status and what it said of one file."""
        answer = subprocess.run(["clang-tidy", "--quiet", "-p", str(self.build), "--warnings-as-errors=*",
                                 str(source)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        # Errors of the compilation are said there; so is the number of suppressed warnings.
        return answer.returncode, answer.stdout + (answer.stderr if answer.returncode != 0 else "")

    def units(self, sources):
        """Files that can be looked at in one unit: compiled alike, with one configuration."""
        alike = {}
        for source in sorted(sources):
            includes = INCLUDE.findall(source.read_text())
            # Whether a file includes something twice cannot be seen in a unit.
            if len(includes) == len(set(includes)):
                commands = tuple((folder, *self._without(source, arguments))
                                 for folder, arguments in self.commands[source])
                alike.setdefault((commands, *configuration(source)), []).append(source)
        for group in alike.values():
            count = -(-len(group) // UNIT_FILES)
            for first in range(count):
                # Neighbours, which include the same: all units of about one length.
                yield group[first * len(group) // count:(first + 1) * len(group) // count]

    def passed(self, group):
        """Those of a unit's files that have passed together."""
        with tempfile.NamedTemporaryFile("w", dir=self.build, prefix="tidy-", suffix=".cpp") as unit:
            while len(group) > 1:
                unit.seek(0)
                unit.truncate()
                for source in group:
                    unit.write(f'#line 1 "{source}"\n{source.read_text()}\n')
                unit.flush()
                commands = [(folder, self._without(group[0], arguments))
                            for folder, arguments in self.commands[group[0]]]
                errors = "".join(subprocess.run(
                    ["clang++", *arguments, "-fsyntax-only", "-w", "-ferror-limit=0", unit.name], cwd=folder,
                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True).stderr
                                 for folder, arguments in commands)
                blamed = {pathlib.Path(name) for name in COMPILER_ERROR.findall(errors)}
                if not blamed:
                    return group if all(self._is_quiet(unit.name, *command, group[0])
                                        for command in commands) else []
                group = [source for source in group if source not in blamed] \
                    if blamed & set(group) else group[:len(group) // 2]
        return []

    def _is_quiet(self, unit, folder, arguments, source):
        # The configuration that holds for the file: the unit is in another folder.
        config = subprocess.run(["clang-tidy", "--dump-config", str(source), "--"], check=True,
                                stdout=subprocess.PIPE, text=True).stdout
        answer = subprocess.run(
            ["clang-tidy", "--quiet", "--warnings-as-errors=*", f"--config={config}",
             "--checks=-readability-duplicate-include", unit, "--", *arguments], cwd=folder,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        return answer.returncode == 0 and not answer.stdout.strip()

    @staticmethod
    def _without(source, arguments):
        return [argument for argument in arguments if argument != str(source)]


def remove_old_stamps():
    limit = time.time() - STAMP_DAYS * 24 * 3600
    for stamp in CACHE.iterdir():
        # Nothing else that lies there; and another run may remove one at the same time.
        with contextlib.suppress(FileNotFoundError):
            if STAMP.fullmatch(stamp.name) and stamp.stat().st_mtime < limit:
                stamp.unlink()


def main():
    parser = argparse.ArgumentParser(description="Runs clang-tidy on files that it has not passed yet.")
    parser.add_argument("--build", required=True, type=pathlib.Path)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()

    CACHE.mkdir(parents=True, exist_ok=True)
    remove_old_stamps()
    tidy = Tidy(arguments.build.resolve())
    sources = [file.resolve() for file in arguments.files]
    unknown = [source for source in sources if source not in tidy.commands]
    for source in unknown:
        print(f"{source.relative_to(ROOT)}: {arguments.build} does not compile this file")

    failed = 0
    # The largest first: none of them is left alone at the end.
    sources = sorted((source for source in sources if source in tidy.commands),
                     key=lambda source: source.stat().st_size, reverse=True)
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        stamps = dict(zip(sources, pool.map(tidy.stamp, sources)))
        for stamp in filter(None, stamps.values()):
            if stamp.exists():
                stamp.touch()
        left = [source for source in sources if not stamps[source] or not stamps[source].exists()]
        checked = len(left)
        for group in pool.map(tidy.passed, tidy.units([source for source in left if stamps[source]])):
            for source in group:
                stamps[source].touch()
                left.remove(source)
        for source, (status, said) in zip(left, pool.map(tidy.check, left)):
            failed += status != 0
            if said.strip():
                print(said.rstrip(), flush=True)
            if stamps[source] and status == 0 and not said.strip():
                stamps[source].touch()
    print(f"clang-tidy: {checked} files checked, {len(sources) - checked} as they had passed, {failed} failed")
    sys.exit(1 if failed or unknown else 0)


if __name__ == "__main__":
    main()
