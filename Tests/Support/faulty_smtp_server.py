"""A mail server on loopback that fails at one stage of the dialogue.

Usage: faulty_smtp_server.py STAGE ACTION

STAGE   banner, ehlo, greeting (ehlo and helo), starttls, auth, mail, rcpt, data, end, quit or
        body; any other fails nowhere
ACTION  drop          close the connection instead of answering
        reset         close it with a TCP reset
        break         (starttls) agree, then answer the handshake with bytes that are none
        stall         (body) read a part of the message, read no more until SIGUSR1, then reset
        NNN text      answer with this line

Writes its port to standard output, then one line for each command that it reads, and ends with the
first connection.
"""

import signal
import socket
import struct
import sys

READ_BEFORE_STALL = 65536
# What is sent and not read waits here, and at the sender.
RECEIVE_BUFFER = 65536


def say(text):
    print(text, flush=True)


class Connection:
    def __init__(self, connection, stage, action):
        self.connection = connection
        self.stage = stage
        self.action = action
        self.buffer = b""

    def read_line(self):
        while b"\n" not in self.buffer:
            part = self.connection.recv(4096)
            if not part:
                return None
            self.buffer += part
        line, self.buffer = self.buffer.split(b"\n", 1)
        return line.rstrip(b"\r").decode("latin-1")

    def reset(self):
        self.connection.setsockopt(
            socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()

    def answer(self, stage, reply):
        """Answers one stage; false when the connection is over."""
        if stage == self.stage:
            if self.action == "drop":
                self.connection.close()
                return False
            if self.action == "reset":
                self.reset()
                return False
            if self.action == "break":
                self.connection.sendall(b"220 go ahead\r\n")
                self.connection.recv(4096)
                self.connection.sendall(b"this is no handshake\r\n")
                self.connection.close()
                return False
            reply = self.action
        self.connection.sendall(reply.encode("latin-1") + b"\r\n")
        return True

    def read_message(self):
        """Reads up to the lone dot; false when the connection is over."""
        if self.stage == "body":
            left = READ_BEFORE_STALL
            while left > 0:
                part = self.connection.recv(min(left, 4096))
                if not part:
                    return False
                left -= len(part)
            say("stalled")
            signal.sigwait({signal.SIGUSR1})
            self.reset()
            return False
        while True:
            line = self.read_line()
            if line is None:
                return False
            if line == ".":
                return True

    def serve(self):
        if not self.answer("banner", "220 faulty.test ESMTP"):
            return
        capabilities = ["250-faulty.test", "250-AUTH PLAIN"]
        if self.stage == "starttls":
            capabilities.append("250-STARTTLS")
        capabilities.append("250 8BITMIME")
        while True:
            line = self.read_line()
            if line is None:
                return
            command = line.split(" ", 1)[0].upper()
            say(command)
            if command == "EHLO":
                stage = self.stage if self.stage == "greeting" else "ehlo"
                going = self.answer(stage, "\r\n".join(capabilities))
            elif command == "HELO":
                going = self.answer("greeting", "250 faulty.test")
            elif command == "STARTTLS":
                going = self.answer("starttls", "454 not now")
            elif command == "AUTH":
                going = self.answer("auth", "235 welcome")
            elif command == "MAIL":
                going = self.answer("mail", "250 ok")
            elif command == "RCPT":
                going = self.answer("rcpt", "250 ok")
            elif command == "DATA":
                going = self.answer("data", "354 go on")
                if going and not (self.stage == "data"):
                    going = self.read_message() and self.answer("end", "250 taken")
            elif command == "QUIT":
                self.answer("quit", "221 bye")
                return
            else:
                going = self.answer("other", "500 what")
            if not going:
                return


def main():
    stage, action = sys.argv[1], sys.argv[2]
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR1})
    listener = socket.create_server(("127.0.0.1", 0))
    if stage == "body":
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, RECEIVE_BUFFER)
    say(listener.getsockname()[1])
    connection, _ = listener.accept()
    listener.close()
    try:
        Connection(connection, stage, action).serve()
    except ConnectionError as error:
        say(f"connection error: {error.strerror}")
    finally:
        connection.close()


main()
