#!/usr/bin/python3
"""Gives a header to Doxygen with a comment on each declaration that its own name and place explain:
questions about an operating system, flags, reserved fields, copies, comparisons, what a container has.

Usage: scripts/reference-filter.py HEADER      (prints the header, line for line)

A declaration that has a comment keeps it. Whatever else lacks one is an error of the reference, and is
to be documented in the header.
"""

import pathlib
import re
import sys

# Words in names that are written in another way than letter by letter.
WORDS = re.compile(r"[A-Z]+(?![a-z])[0-9]*|[A-Z][a-z]+|[0-9]+[A-Z0-9]*|[a-z]+")
FLAGS = pathlib.Path(__file__).resolve().parent.parent / "Include/Ondrel/OSFlags.h"


def words(name):
    return " ".join(WORDS.findall(name))


def question(match, flags):
    """A question's name without "Is": a flag's name, or words for a product."""
    name, arguments = match["name"], match["arguments"]
    if name == "AlwaysFalse":
        return "0 for every record."
    if "useUnderlying" not in arguments and name in flags:
        return f"1 when the flag `OSFlags::{name}` is set, else 0."
    if "OS_FACTS" in arguments:
        half = " in the half that `useUnderlying` chooses" if "useUnderlying" in arguments else ""
        return f"1 when the record is that of {words(name)}{half}, else 0."
    return f"1 when these are the numbers of {words(name.removesuffix('Build'))}, else 0."


def rules(flags):
    container = "As of the standard's containers."
    return [
        (r"  (static )?int (Is)?(?P<name>\w+)\((?P<arguments>.*(facts|minor|build).*)\)( const)?;",
         lambda match: question(match, flags)),
        (r'inline constexpr OSFlag \w+\{"(\w+)", (\d), (0x\w+)\};',
         lambda match: f"Bit {match[3]} of `suite{match[2]}`."),
        (r"  std::uint\d+_t Reserved\w+( : \d+|\[\d+\])?;.*",
         lambda match: "Reserved by the standard."),
        (r"    std::uint\d+_t Reserved\w+( : \d+|\[\d+\])?;.*",
         lambda match: "Reserved by the standard."),
        (r" +(?:ONDREL_API_INLINE )?(\w+)\(const \1 ?&( ?other)?\)( = default)?;.*", lambda match: "A copy of the other object."),
        (r" +(\w+)\(\1 ?&&( ?other)?\)( noexcept)?( = default)?;.*",
         lambda match: "Takes over what the other object has."),
        (r" +(?:ONDREL_API_INLINE )?(\w+)& operator=\(const \1 ?&( ?other)?\)( = default)?;.*",
         lambda match: "Becomes a copy of the other object."),
        (r" +(?:ONDREL_API_INLINE )?(\w+)& operator=\( ?\1 ?&&( ?other)?\)( noexcept)?( = default)?;.*",
         lambda match: "Takes over what the other object has."),
        (r"  bool operator[=!<>]=?\(const \w+& other\) const;", lambda match: "Compares the dates."),
        (r" +using (key_type|mapped_type|value_type|key_compare|size_type|difference_type|reference|"
         r"const_reference|iterator|const_reverse_iterator|reverse_iterator|iterator_concept|"
         r"iterator_category) = .*;", lambda match: container),
        (r".* (empty|max_size|end|cbegin|cend|rend|crbegin|crend)\(\) const noexcept( \{.*\}|;)",
         lambda match: container),
        (r"inline CCodeNames::operator std::map<.*", lambda match: "A copy as a map of texts."),
        (r".* operator(\*|->|\+\+|--)\((int)?\) (const )?noexcept( \{.*|;)",
         lambda match: "As of the standard's iterators."),
    ]


def main(header):
    lines = pathlib.Path(header).read_text().splitlines()
    # The names that have a question and a flag are the same.
    found = rules(set(re.findall(r"OSFlag (\w+)\{", FLAGS.read_text())))
    for number, line in enumerate(lines):
        before = lines[number - 1].strip() if number else ""
        # Doxygen takes the sign before a word as a mark of its own.
        if "///" in line:
            line = re.sub(r"%(?=\w)", "%%", line)
        if "///" in line or (before.startswith("///") and not before.startswith("///<")):
            print(line)
            continue
        code = re.sub(r"\s+//[^/].*$", "", line)
        # A declaration may go on in the next lines.
        following = number + 1
        while code.endswith(("(", "=")) and following < len(lines):
            code += ("" if code.endswith("(") else " ") + lines[following].strip()
            following += 1
        for pattern, text in found:
            match = re.fullmatch(pattern, code)
            if match:
                line = f"/** {text(match)} */ {line}"
                break
        print(line)


main(*sys.argv[1:])
