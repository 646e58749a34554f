"""Prints what the command takes of memory at most, resident, as lines for scripts/bench-table.py.

Usage: memory_of_commands.py COMMAND LAUNCHER    The launcher is LoadCostBench, a small program: a process
that a large one starts counts the memory of that one as its own."""

import pathlib
import socket
import subprocess
import sys
import tempfile
import threading

MEGABYTE = 1_000_000


class MailServer(threading.Thread):
    """Takes mails and keeps none."""

    def __init__(self):
        super().__init__(daemon=True)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]

    def run(self):
        while True:
            peer, _ = self.listener.accept()
            with peer:
                self.serve(peer)

    def serve(self, peer):
        peer.sendall(b"220 bench\r\n")
        in_data, last = False, b""
        while received := peer.recv(1 << 20):
            if in_data:
                last = (last + received)[-5:]
                if last != b"\r\n.\r\n":
                    continue
                in_data = False
            elif received.upper().startswith(b"DATA"):
                in_data, last = True, b""
                peer.sendall(b"354 go on\r\n")
                continue
            peer.sendall(b"250 ok\r\n")


def main():
    command, launcher = sys.argv[1:]
    server = MailServer()
    server.start()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "letters").write_text("ab" * (10 * MEGABYTE))
        (folder / "watch.conf").touch()
        (folder / "body").write_text(("x" * 59 + "\n") * (50 * MEGABYTE // 60))
        mail = ["mail", "--server", "127.0.0.1", "--port", str(server.port), "--mail-from", "a@example.com",
                "--to", "b@example.com", "--subject", "bench"]
        cases = {
            "help": ["help"],
            "status": ["status", "pd", "OPERATIONAL", "FAILED"],
            "code": ["code", "event", "10471"],
            "codes": ["codes"],
            "log report": ["log", "report", "Bench", "10000", "information", "text"],
            "log show": ["log", "show", "Bench"],
            "log list": ["log", "list"],
            "os": ["os"],
            "match": ["match", "a", "b"],
            "adapters": ["adapters"],
            "locate": ["locate", "1000", "005d"],
            "run": ["run", "true"],
            "compare": ["compare", "1.2", "1.3"],
            "date": ["date"],
            "stamp": ["stamp", "2022-03-31"],
            "week-date": ["week-date", "2022", "3", "0", "5"],
            "uptime": ["uptime"],
            "module-version": ["module-version", "nvme"],
            "nvme list": ["nvme", "list"],
            "partitions": ["partitions", "0"],
            "disks": ["disks"],
            "watch --once": ["watch", "--once", "--config", str(folder / "watch.conf")],
            "doctor": ["doctor"],
            "mail": mail,
            "mail with a body of 50 MB": mail + ["--body", str(folder / "body")],
            "match '(a|b)*' in 20 MB": ["match", "(a|b)*", "--from", str(folder / "letters")],
            "match '(ab)*' in 20 MB": ["match", "(ab)*", "--from", str(folder / "letters")],
        }
        for case, arguments in cases.items():
            run = subprocess.run(
                [launcher, "--peak", command, "--store", str(folder / "events.db"), *arguments],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, check=True)
            print(f"Memory/{case}/resident at most\t{int(run.stdout)}\tbytes")


main()
