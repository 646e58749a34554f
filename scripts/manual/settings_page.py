"""The page of the watch service's configuration, watch.conf(5), from the section of Docs/watch.md."""

import re

from documents import blocks, date_of, marked, section, table
from roff import roff

PAGE = "Docs/watch.md"


def keys(sample):
    """(section, "key=value", comment) of each key of a sample, in its order."""
    found, name, comment = [], "", []
    for line in sample.splitlines():
        head = re.fullmatch(r"\[(.+)\]", line)
        key = re.fullmatch(r"; ([a-z-]+=.*)", line)
        if head:
            name, comment = head[1], []
        elif key:
            found.append((name, key[1], " ".join(comment)))
            comment = []
        elif line.startswith("; "):
            comment.append(line[2:])
    return found


def key_lines(sample):
    lines, current = [], None
    for name, key, comment in keys(sample):
        if name != current:
            lines.append(f'.SS "[{name}]"')
            current = name
        # In the sample the value stands below these words.
        comment = re.sub(r" Example:$", " The value is an example.", comment)
        lines += [".TP", f"\\fB{roff(key)}\\fR", roff(comment)]
    return lines


def installed(text, prefix):
    """A text whose installed files are those of a Debian package, with the files of an installation."""
    return re.sub(r"/usr/(?=share/(doc/)?ondrel/|lib/systemd/)", prefix.rstrip("/") + "/", text)


def files(page, prefix):
    """The table of a document's files, those of the installation below its prefix."""
    lines = ['.SH "FILES"']
    for name, text in table(section(page, "Files")):
        lines += [".TP", marked(installed(name, prefix)), marked(text)]
    return lines


def settings_page(version, prefix):
    lines = [
        f'.TH "WATCH.CONF" "5" "{date_of(version)}" "ondrel {version}" "File Formats"',
        ".nh",
        '.SH "NAME"',
        "watch.conf \\- configuration of the watch of drives and arrays",
        '.SH "DESCRIPTION"',
    ]
    for kind, text in blocks(section(PAGE, "Configuration")):
        if kind == "words":
            lines += [".PP", marked(text)]
        elif kind == "ini":
            lines += [*key_lines(text), '.SH "NOTES"']
        else:
            lines += [".PP", ".nf", *map(roff, installed(text, prefix).splitlines()), ".fi"]
    lines += [*files(PAGE, prefix), '.SH "SEE ALSO"', "\\fBondrel\\-watch\\fR(1),", "\\fBondrel\\fR(1)"]
    return "\n".join(lines) + "\n"
