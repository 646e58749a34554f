"""Mails through a server that fails at random, and what became of each."""

import contextlib
import random
import socket
import socketserver
import struct
import subprocess
import threading
import time

from events import print_rows

SENDERS = 8
FAILING = 0.4
STAGES = ("banner", "ehlo", "mail", "rcpt", "data", "body", "end", "quit")
# No words at all are seldom: a sender waits for them until its time is over.
ACTIONS = ("drop", "reset", "421 not now", "451 not now", "554 never") * 4 + ("no words",)


class Over(Exception):
    """The connection has ended."""


class Server(socketserver.ThreadingTCPServer):
    """A mail server that fails at one stage of many dialogues, and notes what it took by this field."""

    daemon_threads = True
    request_queue_size = 64

    def __init__(self, seed, field="Subject", failing=FAILING):
        super().__init__(("127.0.0.1", 0), Dialogue)
        self.field, self._failing = f"{field}: ".encode(), failing
        self._dice, self._lock = random.Random(f"{seed} server"), threading.Lock()
        # Of each mail: how often it was taken, and how often the client was answered so.
        self.taken, self.answered, self.failures = {}, {}, 0

    def draw(self):
        with self._lock:
            if self._dice.random() >= self._failing:
                return None, None, 0
            self.failures += 1
            return self._dice.choice(STAGES), self._dice.choice(ACTIONS), self._dice.randrange(2000)

    def note(self, counts, mail):
        with self._lock:
            counts[mail] = counts.get(mail, 0) + 1


class Dialogue(socketserver.StreamRequestHandler):
    timeout = 30

    def handle(self):
        self.stage, self.action, self.cut = self.server.draw()
        with contextlib.suppress(Over, OSError):
            self._talk()

    def _talk(self):
        self._answer("banner", "220 torture")
        while True:
            line = self._line()
            verb = line[:4].upper()
            if verb in (b"EHLO", b"HELO"):
                self._answer("ehlo", "250 torture")
            elif verb == b"MAIL":
                self._answer("mail", "250 ok")
            elif verb == b"RCPT":
                self._answer("rcpt", "250 ok")
            elif verb == b"DATA":
                if self._answer("data", "354 go on"):
                    self._take()
            elif verb == b"QUIT":
                self._answer("quit", "221 bye")
                raise Over
            else:
                self._answer("", "250 ok")

    def _line(self):
        line = self.rfile.readline()
        if not line.endswith(b"\n"):
            raise Over
        return line

    def _take(self):
        if self.stage == "body":
            self.rfile.read(self.cut)
            self._end()
        mail = ""
        while (line := self._line()) != b".\r\n":
            if line.startswith(self.server.field) and not mail:
                mail = line.removeprefix(self.server.field).strip().decode()
        # A server that takes a mail and does not get to say so leaves its client in doubt.
        if self.stage != "end" or self.action in ("drop", "reset", "no words"):
            self.server.note(self.server.taken, mail)
        if self._answer("end", "250 taken"):
            self.server.note(self.server.answered, mail)

    def _answer(self, stage, words):
        """Answers one stage; whether with these words."""
        if stage == self.stage:
            if self.action in ("drop", "reset"):
                self._end()
            words = "" if self.action == "no words" else self.action
            self.wfile.write(words.encode() + b"\r\n")
            return False
        self.wfile.write(words.encode() + b"\r\n")
        return True

    def _end(self):
        if self.action == "reset":
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.connection.close()
        raise Over


class Senders:
    def __init__(self, command, port, seed):
        self._command, self._port, self._seed = command, port, seed
        self._lock, self._end = threading.Lock(), threading.Event()
        self.sent, self.failed, self.silent = set(), {}, []

    def run(self, seconds, most):
        share = -(-most // SENDERS)
        threads = [threading.Thread(target=self._send, args=(i, share)) for i in range(SENDERS)]
        for thread in threads:
            thread.start()
        deadline = time.monotonic() + seconds
        for thread in threads:
            thread.join(max(0, deadline - time.monotonic()))
        self._end.set()
        for thread in threads:
            thread.join()

    def _send(self, sender, most):
        dice = random.Random(f"{self._seed} sender {sender}")
        for number in range(most):
            if self._end.is_set():
                return
            subject = f"mail {sender} {number}"
            process = subprocess.Popen(
                [self._command, "mail", "--server", "127.0.0.1", "--port", str(self._port),
                 "--mail-from", "a@example.com", "--to", "b@example.com", "--subject", subject,
                 "--timeout", "5s", "--body", "-"],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            words = process.communicate("line\n" * dice.choice((0, 1, 100, 5000)))[0]
            with self._lock:
                if process.returncode == 0:
                    self.sent.add(subject)
                elif process.returncode > 0 and words.strip():
                    self.failed[subject] = words.strip()
                else:
                    self.silent.append(subject)

    def tried(self):
        return len(self.sent) + len(self.failed) + len(self.silent)


def torture_mails(command, seed, seconds, most):
    """Sends mails until the time or their number is reached; the number that was lost or wrong in
    silence."""
    with Server(seed) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        senders = Senders(command, server.server_address[1], seed)
        senders.run(seconds, most)
        server.shutdown()
    return print_rows(f"Mails, {senders.tried()} of them", [
        ("dialogues that the server failed", server.failures, False),
        ("said to be sent", len(senders.sent), False),
        ("failed with words", len(senders.failed), False),
        ("of them, taken in doubt",
         sum(subject in server.taken and subject not in server.answered for subject in senders.failed), False),
        ("said to be sent and not there", sum(subject not in server.taken for subject in senders.sent), True),
        ("failed and yet acknowledged", sum(subject in server.answered for subject in senders.failed), True),
        ("there twice", sum(count > 1 for count in server.taken.values()), True),
        ("ended without words", len(senders.silent), True),
    ])
