#!/usr/bin/python3
"""Looks at a built DLL from outside: its message table, its version record, its version stamp.

Usage: check_resources.py ondrel.dll

The resources are taken out by wrestool and the sections listed by objdump; what stands in them is
read here by the published layouts.
"""

import struct
import subprocess
import sys

BLOCKS = [(0x20002710, 0x20002870, 353), (0x20002873, 0x2000292C, 186),
          (0x2000292E, 0x20002B65, 568)]
TEXT = "%1\r\n"
STAMP = b"$Header: @(#) ondrel.dll P7.10.2 F7.10.2 $\0"
VERSION = (7, 10, 2, 0)
STRINGS = {"FileDescription": "Operating System Abstraction Layer",
           "FileVersion": "7.10.2", "ProductVersion": "7.10.2"}


def check(holds, what):
    if not holds:
        sys.exit(f"FAILED: {what}")


def resource(dll, kind, name, language):
    return subprocess.run(
        ["wrestool", "--extract", "--raw", f"--type={kind}", f"--name={name}",
         f"--language={language}", dll], check=True, capture_output=True).stdout


def check_resource_list(dll):
    listed = subprocess.run(["wrestool", "--list", dll], check=True, capture_output=True,
                            text=True).stdout.splitlines()
    tables = [line for line in listed if "--type=11 " in line]
    check(len(tables) == 1 and "--name=1 " in tables[0] and "--language=1033 " in tables[0],
          f"one message table, name 1, language 1033, is listed: {tables}")


def check_message_table(dll):
    table = resource(dll, 11, 1, 1033)
    count, = struct.unpack_from("<I", table)
    check(count == len(BLOCKS), f"{count} blocks")
    entries = end = 0
    for number, (first, last, size) in enumerate(BLOCKS):
        block = struct.unpack_from("<III", table, 4 + 12 * number)
        check(block[:2] == (first, last), f"block {number} is {block[0]:#x} to {block[1]:#x}")
        check(last - first + 1 == size, f"block {number} has {size} entries")
        offset = block[2]
        check(offset >= 4 + 12 * count and offset % 4 == 0, f"offset {offset} of block {number}")
        for message in range(first, last + 1):
            length, flags = struct.unpack_from("<HH", table, offset)
            text = table[offset + 4:offset + length].decode("utf-16-le")
            check(flags == 1, f"{message:#x} is flagged as UTF-16")
            check(length % 4 == 0 and text.rstrip("\0") == TEXT and text.endswith("\0"),
                  f"{message:#x} is {text!r}")
            offset += length
            entries += 1
        end = max(end, offset)
    check(entries == 1107, f"{entries} entries")
    check(end == len(table), f"{len(table) - end} bytes after the last entry")


def aligned(offset):
    return (offset + 3) // 4 * 4


def version_nodes(record, offset):
    """Yields key and value of a version node and of all below it."""
    length, value_length, is_text = struct.unpack_from("<HHH", record, offset)
    end = offset + length
    key_end = offset + 6
    while record[key_end:key_end + 2] != b"\0\0":
        key_end += 2
    key = record[offset + 6:key_end].decode("utf-16-le")
    value_at = aligned(key_end + 2)
    value = record[value_at:value_at + value_length * (2 if is_text else 1)]
    yield key, value.decode("utf-16-le").rstrip("\0") if is_text else value
    child = aligned(value_at + len(value))
    while child < end:
        yield from version_nodes(record, child)
        child = aligned(child + struct.unpack_from("<H", record, child)[0])


def check_version_record(dll):
    nodes = dict(version_nodes(resource(dll, 16, 1, 1033), 0))
    fixed = struct.unpack_from("<13I", nodes["VS_VERSION_INFO"])
    check(fixed[0] == 0xFEEF04BD, f"signature {fixed[0]:#x}")
    for name, high, low in ("file version", *fixed[2:4]), ("product version", *fixed[4:6]):
        found = (high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF)
        check(found == VERSION, f"{name} is {found}")
    for name, text in STRINGS.items():
        check(nodes.get(name) == text, f"{name} is {nodes.get(name)!r}")


def check_stamp(dll):
    """The stamp stands once, in a section that is not read-only."""
    with open(dll, "rb") as file:
        data = file.read()
    place = data.find(STAMP)
    check(place >= 0, "the version stamp is there")
    check(data.find(STAMP, place + 1) < 0, "the version stamp is there once")
    lines = subprocess.run(["x86_64-w64-mingw32-objdump", "--section-headers", dll], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    for header, flags in zip(lines, lines[1:]):
        fields = header.split()
        if len(fields) == 7 and fields[0].isdigit():
            size, start = int(fields[2], 16), int(fields[5], 16)
            if start <= place < start + size:
                check("DATA" in flags and "READONLY" not in flags,
                      f"the version stamp stands in {fields[1]}, {flags.strip()}")
                return
    check(False, "the version stamp stands in a section")


def main():
    dll = sys.argv[1]
    check_resource_list(dll)
    check_message_table(dll)
    check_version_record(dll)
    check_stamp(dll)
    print("1107 messages in three blocks, version 7.10.2 and the version stamp as they have to be")


if __name__ == "__main__":
    main()
