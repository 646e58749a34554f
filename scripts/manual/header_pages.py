#!/usr/bin/python3
"""Writes a manual page for each public header, out of what Doxygen reads in it.

Usage: scripts/manual/header_pages.py XML FOLDER VERSION

XML is the folder that Doxygen wrote. FOLDER gets a page for each header (Ondrel_Smtp.h.3), and for each
class and function a link to the page of its header (Ondrel::CSmtp.3). Nothing but the headers' own
comments and declarations stands in them, in the order of the header, and what the library's overview
and the base library's page say that a header is for.
"""

import html
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

from documents import ROOT, date_of
from roff import roff

HEADERS = ROOT / "Include"
# Headers that all others are built on: nobody asks for them by themselves.
WITHOUT_PAGE = {"Ondrel/Export.h", "Pirsk/Export.h"}
# It includes all of the library's, and says beside each what it is for; the page has a table of the
# base library's.
OVERVIEW = "Ondrel/Ondrel.h"
BASE_PAGE = "Docs/base-library.md"


def page_name(header):
    return header.replace("/", "_")


# Doxygen's marks in a comment, as the formatter takes them.

def inline(element):
    parts = [roff(element.text or "")]
    for child in element:
        if child.tag == "computeroutput":
            parts.append(f"\\fB{inline(child)}\\fR")
        else:
            parts.append(inline(child))
        parts.append(roff(child.tail or ""))
    return re.sub(r"[ \n]+", " ", "".join(parts))


def sentences(text):
    """A line of the page's source for a text; one that begins like a request is none."""
    text = text.strip()
    return [("\\&" if text[:1] in ".'" else "") + text] if text else []


def paragraph(element):
    """The lines of one paragraph, lists and examples in it included."""
    lines, words = [], ElementTree.Element("para")
    words.text = element.text

    def flush():
        nonlocal words
        lines.extend(sentences(inline(words)))
        words = ElementTree.Element("para")

    for child in element:
        if child.tag in ("orderedlist", "itemizedlist"):
            flush()
            for number, item in enumerate(child.findall("listitem"), 1):
                lines.append(f".IP {number}. 4" if child.tag == "orderedlist" else ".IP \\(bu 4")
                for inner in item.findall("para"):
                    lines.extend(paragraph(inner))
            words.text = child.tail
        elif child.tag in ("verbatim", "preformatted"):
            flush()
            lines += [".PP", ".nf", *(roff(line) for line in (child.text or "").strip("\n").splitlines()), ".fi"]
            words.text = child.tail
        else:
            words.append(child)
    flush()
    return lines


def comment(element, between):
    """The lines of a declaration's whole comment, its paragraphs set apart by the request `between`."""
    lines = []
    for part in ("briefdescription", "detaileddescription"):
        described = element.find(part)
        for para in described.findall("para") if described is not None else []:
            found = paragraph(para)
            lines += ([between] if lines else []) + found
    return lines


def location(element):
    place = element.find("location")
    return place.get("file", "").removeprefix("Include/"), int(place.get("line", "0"))


# Declarations as a program writes them.

def text_of(element, name):
    found = element.find(name)
    return " ".join("".join(found.itertext()).split()) if found is not None else ""


def declaration(member):
    kind, name = member.get("kind"), text_of(member, "name")
    if kind == "typedef":
        written = text_of(member, "type").removeprefix("typedef ")
        return tidy(f"using {name} = {written};")
    words = []
    template = member.find("templateparamlist")
    if template is not None:
        parameters = ", ".join(" ".join(text_of(p, part) for part in ("type", "declname")).strip()
                               for p in template.findall("param"))
        words.append(f"template <{parameters}>")
    if member.get("static") == "yes":
        words.append("static")
    if member.get("virt") in ("virtual", "pure-virtual"):
        words.append("virtual")
    if member.get("explicit") == "yes":
        words.append("explicit")
    kind_of_value = re.sub(r"\b(static|virtual|explicit|inline|friend) ", "", text_of(member, "type") + " ").strip()
    words += [kind_of_value] if kind_of_value else []
    after = re.sub(r" ?= ?default$", "", text_of(member, "argsstring"))
    if kind == "define":
        return f"#define {name}" + ("(" + ", ".join(text_of(p, "defname") for p in member.findall("param")) + ")"
                                    if member.findall("param") else "")
    width = text_of(member, "bitfield")
    value = text_of(member, "initializer") if kind == "variable" and "constexpr" in kind_of_value else ""
    # A table of rows is not part of what a caller writes.
    value = value if len(value) < 80 else ""
    return tidy(" ".join([*words, name])) + tidy(after) + (f" : {width}" if width else "") + \
        (f" {value}" if value else "") + ";"


def tidy(text):
    text = re.sub(r"< ", "<", re.sub(r" (?=>)", "", text))
    text = re.sub(r" ([&*]+) ?(?=\w)", r"\1 ", text)
    return re.sub(r" ([&*]+)(?=[,)>]|$)", r"\1", text)


class Reference:
    """All compounds that Doxygen wrote, by their names."""

    def __init__(self, folder):
        self.files, self.spaces, self.classes = {}, [], []
        for file in sorted(pathlib.Path(folder).glob("*.xml")):
            if file.name in ("index.xml", "Doxyfile.xml"):
                continue
            compound = ElementTree.parse(file).getroot().find("compounddef")
            kind = compound.get("kind")
            if kind == "file":
                self.files[location(compound)[0]] = compound
            elif kind == "namespace":
                self.spaces.append(compound)
            elif kind in ("class", "struct", "union"):
                self.classes.append(compound)

    def name_of(self, compound):
        return html.unescape(text_of(compound, "compoundname"))

    def is_hidden(self, name):
        return "Detail" in name.split("::")

    def entries(self, header):
        """(line, scope, element) of what a header declares, in its order."""
        found = []
        for space in self.spaces:
            name = self.name_of(space)
            if not self.is_hidden(name):
                # A class's member that is defined outside of it shows there too.
                found += [(line, name, member) for member in space.iter("memberdef")
                          for file, line in [location(member)]
                          if file == header and "::" not in text_of(member, "name")]
        for compound in self.classes:
            name = self.name_of(compound)
            file, line = location(compound)
            if file == header and not self.is_hidden(name) and self.is_shown(compound):
                found.append((line, name, compound))
        found += [(location(member)[1], "", member) for member in self.files[header].iter("memberdef")
                  if location(member)[0] == header]
        return sorted(found, key=lambda entry: entry[0])

    def is_shown(self, compound):
        return compound.get("prot", "public") == "public" and bool(comment(compound, ""))


def members_of(compound):
    members = [member for member in compound.iter("memberdef")
               if member.get("prot") == "public" and member.get("kind") != "friend"]
    return sorted(members, key=lambda member: location(member)[1])


def enumeration_title(member, name):
    strong = "enum class" if member.get("strong") == "yes" else "enum"
    kind = text_of(member, "type")
    return f"{strong} {name}" + (f" : {kind}" if kind else "")


def enumerators(member):
    lines = []
    for value in member.findall("enumvalue"):
        lines += [".TP", f"\\fB{roff(text_of(value, 'name'))}\\fR {roff(text_of(value, 'initializer'))}".rstrip(),
                  *(comment(value, ".IP") or ["\\&"])]
    return lines


def heading(request, text):
    return f'{request} "{roff(text)}"'.replace('\\"', '"')


def body(reference, header):
    lines, space = [], None
    for _, name, element in reference.entries(header):
        if element.tag == "compounddef":
            lines += [heading(".SS", f"{element.get('kind')} {name}"), *comment(element, ".PP")]
            for member in members_of(element):
                if member.get("kind") == "enum":
                    lines += [".TP", f"\\fB{roff(enumeration_title(member, text_of(member, 'name')))}\\fR",
                              *comment(member, ".IP"), ".RS", *enumerators(member), ".RE"]
                else:
                    lines += [".TP", f"\\fB{roff(declaration(member))}\\fR", *(comment(member, ".IP") or ["\\&"])]
            space = None
        elif element.get("kind") == "enum":
            lines += [heading(".SS", enumeration_title(element, f"{name}::{text_of(element, 'name')}")),
                      *comment(element, ".PP"), *enumerators(element)]
            space = None
        else:
            if space != name:
                lines.append(heading(".SS", f"In namespace {name}" if name else "Macros"))
                space = name
            lines += [".TP", f"\\fB{roff(declaration(element))}\\fR", *(comment(element, ".IP") or ["\\&"])]
    return lines


def essay(header):
    """The comment at the start of a header, before what it declares, as lines of the page."""
    text = (HEADERS / header).read_text()
    block = re.search(r"^(///.*\n)+(?=\n|namespace |#)", text, re.MULTILINE)
    first = re.search(r"^namespace [^{]*\{\n\n", text, re.MULTILINE)
    if not block or (first and block.start() > first.start()):
        return []
    lines, is_apart, is_fixed = [], False, False
    for line in block[0].splitlines():
        words = line.removeprefix("///").strip()
        if words and line.startswith("///     ") != is_fixed:
            is_fixed = not is_fixed
            lines += [".PP", ".nf"] if is_fixed else [".fi"]
        if words and is_fixed:
            lines.append(roff(line[4:]))
            is_apart = False
            continue
        item = re.match(r"(?:-|(\d+\.)) (.*)", words)
        if not words:
            is_apart = True
            continue
        if item:
            lines.append(f".IP {item[1] or chr(92) + '(bu'} 4")
        elif is_apart and lines:
            lines.append(".PP")
        is_apart = False
        marked = re.sub(r"`([^`]*)`", r"\\fB\1\\fR", roff(item[2] if item else words))
        lines += sentences(marked)
    return lines + ([".fi"] if is_fixed else [])


def summaries():
    """What each header is for, in the words beside its include or of the page's table."""
    return {**dict(re.findall(r"#include <(.*)> +// (.*)", (HEADERS / OVERVIEW).read_text())),
            **dict(re.findall(r"^\| `(Pirsk/\w+\.h)` \| (.*) \|$", (ROOT / BASE_PAGE).read_text(), re.MULTILINE))}


def first_sentence(lines):
    plain = " ".join(line for line in lines if not line.startswith("."))
    words = re.split(r"(?<=[.:;])\s", plain, maxsplit=1)[0].rstrip(".:;")
    # A line of a list of pages: no sentence, but a name keeps its capitals.
    return words[:1].lower() + words[1:] if words[1:2].islower() else words


def is_object(element):
    return element.get("kind") == "variable" and "constexpr" not in text_of(element, "type")


def aliases(reference, header):
    names = []
    for _, name, element in reference.entries(header):
        kind = element.get("kind")
        if element.tag == "compounddef" and name not in names:
            names.append(name)
        elif name and (kind in ("function", "enum") or is_object(element)) and not text_of(element, "name").startswith("operator"):
            full = f"{name}::{text_of(element, 'name')}"
            if full not in names:
                names.append(full)
    return names


def manual_page(reference, header, headers, version):
    before = essay(header)
    shown = body(reference, header)
    summary = roff(summaries().get(header, "")) or first_sentence(before) or \
        first_sentence(next((comment(element, "") for _, _, element in reference.entries(header)), []))
    library = header.split("/")[0].lower()
    included = [name for name in re.findall(r"#include <(.*)>", (HEADERS / header).read_text()) if name in headers]
    lines = [
        f'.TH "{page_name(header).upper()}" "3" "{date_of(version)}" "ondrel {version}" "Library Functions"',
        ".nh", ".ad l",
        '.SH "NAME"',
        ", ".join(map(roff, [page_name(header), *aliases(reference, header)])) + f" \\- {summary}",
        '.SH "SYNOPSIS"',
        f"\\fB#include <{roff(header)}>\\fR",
        ".PP", f"\\fBpkg\\-config \\-\\-cflags \\-\\-libs {library}\\fR",
    ]
    for name in included if header == OVERVIEW else []:
        shown += [".TP", f"\\fB{roff(page_name(name))}\\fR(3)", roff(summaries()[name])]
    if before or shown:
        lines += ['.SH "DESCRIPTION"', *before, *shown]
    if included and header != OVERVIEW:
        lines += ['.SH "SEE ALSO"', ",\n".join(f"\\fB{roff(page_name(name))}\\fR(3)" for name in included)]
    return "\n".join(lines) + "\n"


def main(xml, folder, version):
    reference = Reference(xml)
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.iterdir():
        old.unlink()
    headers = sorted(set(reference.files) - WITHOUT_PAGE)
    for header in headers:
        page = f"{page_name(header)}.3"
        (folder / page).write_text(manual_page(reference, header, headers, version))
        for name in aliases(reference, header):
            (folder / f"{name}.3").symlink_to(page)


if __name__ == "__main__":
    main(*sys.argv[1:])
