"""Shows a message table in its published layout, one line for each block and each message."""

import struct
import sys


def main(path):
    with open(path, "rb") as file:
        table = file.read()
    end = 0
    (blocks,) = struct.unpack_from("<I", table, 0)
    for block in range(blocks):
        first, last, offset = struct.unpack_from("<III", table, 4 + 12 * block)
        print(f"block {first:#x} {last:#x}")
        for message in range(first, last + 1):
            length, flags = struct.unpack_from("<HH", table, offset)
            if length % 4 != 0:
                raise ValueError(f"message {message:#x} has a length of {length}")
            text = table[offset + 4 : offset + length].decode("utf-16-le" if flags == 1 else "ascii")
            text, closing, filling = text.partition("\0")
            if closing == "" or filling.strip("\0") != "":
                raise ValueError(f"message {message:#x} has no closing zero")
            print(f"{message:#x} {flags} {ascii(text)}")
            offset += length
        end = max(end, offset)
    print(f"end {len(table) - end}")


main(sys.argv[1])
