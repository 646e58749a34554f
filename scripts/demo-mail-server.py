#!/usr/bin/python3
"""A mail server on a loopback port that keeps what it receives as files.

Usage: demo-mail-server.py FOLDER [PORT]

Takes a free port when none is given. Prints its port on a line of its own once it takes connections. Mail number N becomes
FOLDER/N.envelope (the commands' addresses) and FOLDER/N.eml (the message as it was received); when
the second is there, the first is too. Ends on SIGTERM or SIGINT.
"""

import asyncio
import itertools
import os
import pathlib
import signal
import sys

from aiosmtpd.smtp import SMTP


class Keeper:
    def __init__(self, folder):
        self.folder = folder
        self.numbers = itertools.count(1)

    async def handle_DATA(self, server, session, envelope):
        number = next(self.numbers)
        lines = [f"MAIL FROM:<{envelope.mail_from}>"]
        lines += [f"RCPT TO:<{address}>" for address in envelope.rcpt_tos]
        self.keep(f"{number}.envelope", "\n".join(lines).encode() + b"\n")
        self.keep(f"{number}.eml", envelope.content)
        return "250 OK"

    def keep(self, name, content):
        unfinished = self.folder / (name + ".part")
        unfinished.write_bytes(content)
        os.replace(unfinished, self.folder / name)


async def serve(folder, port):
    loop = asyncio.get_running_loop()
    keeper = Keeper(folder)
    server = await loop.create_server(
        lambda: SMTP(keeper, hostname="localhost", loop=loop), "127.0.0.1", port
    )
    ended = asyncio.Event()
    for number in (signal.SIGTERM, signal.SIGINT):
        loop.add_signal_handler(number, ended.set)
    print(server.sockets[0].getsockname()[1], flush=True)
    await ended.wait()
    server.close()


def main():
    arguments = sys.argv[1:]
    isPortGood = len(arguments) < 2 or arguments[1].isdecimal()
    if len(arguments) not in (1, 2) or not os.path.isdir(arguments[0]) or not isPortGood:
        sys.exit("usage: demo-mail-server.py FOLDER [PORT]")
    port = int(arguments[1]) if len(arguments) == 2 else 0
    asyncio.run(serve(pathlib.Path(arguments[0]), port))


if __name__ == "__main__":
    main()
