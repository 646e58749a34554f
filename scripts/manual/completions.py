"""Completions of the command for bash, zsh and fish.

Each is a few functions of the shell, the same for every version of the command, and tables from its
help: the subcommands of each path ("ondrel log"), its options, the kind of each option's value and of
each argument. A kind is a list of words or the name of something that the shell looks up; names of
codes, logs and disks are asked of the command itself at the moment of completion.
"""

import pathlib

from help_pages import argument_kinds, options_of

SHELLS = pathlib.Path(__file__).resolve().parent


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def kind_text(kind, statuses):
    if kind == "statuses":
        kind = statuses
    return kind if isinstance(kind, str) else "words " + " ".join(kind)


def value_kinds(pages, statuses):
    """(path or "*", option, kind) of each option that takes a value."""
    for path, rows in [("*", pages[0]["globalOptions"])] + [(p["command"], p["options"]) for p in pages]:
        for names, kind, _ in options_of(rows):
            for name in names if kind else []:
                yield path, name, kind_text(kind, statuses)


def place_kinds(pages, statuses):
    """(path, place from 0 on or "*", kind) of each argument."""
    for page in pages:
        kinds = argument_kinds(page)
        for place, kind in enumerate(kinds):
            is_last = place == len(kinds) - 1 and page["usage"].endswith("...")
            yield page["command"], "*" if is_last else place, kind_text(kind, statuses)


def options_with_text(page):
    return [(name, text) for names, _, text in options_of(page["options"] + page["globalOptions"])
            for name in names]


def template(name, tables):
    return (SHELLS / name).read_text().replace("@TABLES@\n", "\n".join(tables) + "\n")


def posix_case(name, subject, rows):
    """A function that prints what the first fitting pattern stands for."""
    return [f"{name}() {{", f"  case {subject} in",
            *(f"    {pattern}) echo {quoted(value)} ;;" for pattern, value in rows),
            "  esac", "}"]


def pattern(*parts):
    """Parts with a colon between them; "*" is any text."""
    return ":".join("*" if part == "*" else quoted(str(part)) for part in parts)


def common_tables(pages, statuses):
    return [
        *posix_case("_ondrel_subcommands", "$1",
                    [(pattern(page["command"]), " ".join(row["name"] for row in page["subcommands"]))
                     for page in pages if page["subcommands"]]),
        *posix_case("_ondrel_value_kind", '"$1:$2"',
                    [(pattern(*key), kind) for *key, kind in value_kinds(pages, statuses)]),
        *posix_case("_ondrel_argument_kind", '"$1:$2"',
                    [(pattern(*key), kind) for *key, kind in place_kinds(pages, statuses)]),
    ]


def bash(pages, statuses):
    return template("completion.bash.in", common_tables(pages, statuses) + posix_case(
        "_ondrel_options", "$1",
        [(pattern(page["command"]), " ".join(name for name, _ in options_with_text(page)))
         for page in pages]))


def zsh(pages, statuses):
    def described(rows):
        return " ".join(quoted(name.replace(":", "\\:") + ":" + text.replace(":", "\\:"))
                        for name, text in rows)

    def rows_function(name, rows_of):
        return [f"{name}() {{", "  case $1 in",
                *(f"    {quoted(page['command'])}) rows=({described(rows_of(page))}) ;;"
                  for page in pages if rows_of(page)),
                "  esac", "}"]

    return template("completion.zsh.in", common_tables(pages, statuses) + rows_function(
        "_ondrel_option_rows", options_with_text) + rows_function(
        "_ondrel_subcommand_rows",
        lambda page: [(row["name"], row["text"]) for row in page["subcommands"]]))


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish(pages, statuses):
    def table(name, rows):
        lines = [f"function {name}", '    switch "$argv"']
        for key, values in rows:
            lines += [f"        case {fish_quoted(key)}",
                      *(f"            printf '%s\\t%s\\n' {fish_quoted(name)} {fish_quoted(text)}"
                        for name, text in values)]
        return lines + ["    end", "end"]

    def kinds(name, rows):
        return [f"function {name}", '    switch "$argv[1]:$argv[2]"',
                *(f"        case {fish_quoted(f'{path}:{word}')}\n            echo {fish_quoted(kind)}"
                  for path, word, kind in rows),
                "    end", "end"]

    return template("completion.fish.in", [
        *table("__ondrel_subcommands",
               [(page["command"], [(row["name"], row["text"]) for row in page["subcommands"]])
                for page in pages if page["subcommands"]]),
        *table("__ondrel_options", [(page["command"], options_with_text(page)) for page in pages]),
        *kinds("__ondrel_value_kind", value_kinds(pages, statuses)),
        *kinds("__ondrel_argument_kind", place_kinds(pages, statuses)),
    ])
