"""The project's documents, as manual pages take parts of them: sections, tables and paragraphs."""

import pathlib
import re

from roff import roff

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def section(page, title):
    """What stands under a heading of a document, up to the next one of its level or above."""
    text = (ROOT / page).read_text()
    found = re.search(rf"^(##+) {re.escape(title)}\n\n(.*?)(?=^#|\Z)", text, re.MULTILINE | re.DOTALL)
    if not found:
        raise SystemExit(f"{page} has no section \"{title}\"")
    return found[2]


def table(text):
    """The rows of a section's table, without its head."""
    rows = [re.split(r" \| ", line[2:-2]) for line in text.splitlines() if line.startswith("| ")]
    if len(rows) < 2:
        raise SystemExit(f"there is no table in: {text}")
    return rows[1:]


def marked(text):
    """A text with its marks as the formatter takes them."""
    text = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", roff(text))
    text = re.sub(r"\*\*([^*]+)\*\*", r"\\fB\1\\fR", text)
    return re.sub(r"`([^`]*)`", r"\\fB\1\\fR", text)


def blocks(text):
    """(kind, text) of each paragraph ("words") and each block of code (its language, or "code")."""
    parts = re.split(r"^```(\w*)\n(.*?)^```\n", text, flags=re.MULTILINE | re.DOTALL)
    for place in range(0, len(parts), 3):
        for paragraph in re.split(r"\n{2,}", parts[place].strip("\n")):
            if paragraph:
                yield "words", " ".join(paragraph.split("\n"))
        if place + 1 < len(parts):
            yield parts[place + 1] or "code", parts[place + 2]


def date_of(version):
    """When a version came, by the changelog: the same in every build of it."""
    found = re.search(rf"^## {re.escape(version)} \((\d{{4}}-\d\d-\d\d)\)$",
                      (ROOT / "CHANGELOG.md").read_text(), re.MULTILINE)
    if not found:
        raise SystemExit(f"CHANGELOG.md has no date for version {version}")
    return found[1]
