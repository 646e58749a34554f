#!/usr/bin/python3
"""Compares the layouts of the library's own types in two descriptions of its interface, and prints what
differs: abidiff passes over a type that the interface reaches through a container alone.

Usage: scripts/compare-layouts.py DESCRIPTION OTHER      (status 1 when they differ)
"""

import sys
import xml.etree.ElementTree as ElementTree

NAMESPACES = ("Ondrel", "Pirsk")


class Description:
    def __init__(self, file):
        root = ElementTree.parse(file).getroot()
        self.types, self.layouts = {}, {}
        for element in root.iter():
            if element.get("id"):
                self.types.setdefault(element.get("id"), element)
        self.collect(root, [])

    def name_of(self, identity):
        """A type as a program writes it, names for other types resolved. Types that were left out of the
        description, and those without a name, are not told apart."""
        element = self.types.get(identity)
        if element is None or element.get("is-anonymous") == "yes":
            return "..."
        inner = self.name_of(element.get("type-id")) if element.get("type-id") else ""
        if element.tag == "typedef-decl":
            return inner
        if element.tag == "pointer-type-def":
            return inner + "*"
        if element.tag == "reference-type-def":
            return inner + "&"
        if element.tag == "qualified-type-def":
            return inner + " const"
        if element.tag == "array-type-def":
            return inner + "".join(f"[{part.get('length')}]" for part in element.findall("subrange"))
        return element.get("name") or "..."

    def members(self, element):
        """(name, what it is) of each member with a place, or of each enumerator, in order."""
        for child in element:
            place = f"at bit {child.get('layout-offset-in-bits')}"
            if child.tag == "data-member" and child.get("static") != "yes":
                variable = child.find("var-decl")
                yield variable.get("name"), f"{self.name_of(variable.get('type-id'))} {place}"
            elif child.tag == "base-class":
                yield f"the base {self.name_of(child.get('type-id'))}", place
            elif child.tag == "enumerator":
                yield child.get("name"), child.get("value")

    def collect(self, element, space):
        """All types below an element by their full names; those without a name by their order."""
        count = 0
        for child in element:
            if child.tag in ("abi-corpus", "abi-instr", "member-type"):
                self.collect(child, space)
            elif child.tag == "namespace-decl":
                # Types outside of these are others'.
                if space or child.get("name") in NAMESPACES:
                    self.collect(child, [*space, child.get("name")])
            elif space and child.tag in ("class-decl", "union-decl", "enum-decl"):
                name = child.get("name")
                if child.get("is-anonymous") == "yes":
                    count += 1
                    name = f"(without a name, {count})"
                full = [*space, name]
                if child.get("is-declaration-only") != "yes":
                    self.layouts.setdefault("::".join(full), (child.get("size-in-bits"), list(self.members(child))))
                self.collect(child, full)


def differences(name, old, new):
    if old[0] != new[0]:
        yield f"{name}: {old[0]} bits became {new[0]}"
    after = dict(new[1])
    for member, what in old[1]:
        if member not in after:
            yield f"{name}: {member} is not there any more"
        elif after[member] != what:
            yield f"{name}: {member} was {what} and is {after[member]}"


def main(description, other):
    old, new = Description(description).layouts, Description(other).layouts
    if not old:
        sys.exit(f"{description} has no types")
    found = []
    for name, layout in old.items():
        found += differences(name, layout, new[name]) if name in new else [f"{name} is not there any more"]
    print("\n".join(found) or f"{len(old)} types as described")
    return 1 if found else 0


sys.exit(main(*sys.argv[1:]))
