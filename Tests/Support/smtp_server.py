"""SMTP server on loopback for tests, and for trying the mail out by hand.

Listens on a port that the system chooses and says so with the line "PORT <number>" on its standard
output. Each received mail is stored in the folder given by --store as <n>.eml, the bytes as they
came with the dots of the transfer taken out, and <n>.envelope, one "name: value" a line. Ends when
its standard input is closed, or by a signal.
"""

import argparse
import asyncio
import logging
import pathlib
import ssl
import subprocess
import sys
import warnings

from aiosmtpd.smtp import SMTP, AuthResult, LoginPassword

LONGEST_LINE = 16 * 1024 * 1024


class Server(SMTP):
    line_length_limit = LONGEST_LINE

    def connection_made(self, transport):
        # A change to TLS comes here again with the same connection.
        if self.transport is None:
            self.event_handler.connections += 1
        super().connection_made(transport)


class NoTls(asyncio.Protocol):
    """Answers whatever the client begins with in the clear, and hangs up."""

    def connection_made(self, transport):
        self.transport = transport

    def data_received(self, data):
        self.transport.write(b"220 test.invalid ESMTP\r\n")
        self.transport.close()


class Mailbox:
    def __init__(self, store, refused_recipient):
        self.store = store
        self.refused_recipient = refused_recipient
        self.connections = 0
        self.mails = 0

    async def handle_RCPT(self, server, session, envelope, address, options):
        if address == self.refused_recipient:
            return "550 5.1.1 No such user here"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        user = session.auth_data.login.decode() if session.authenticated else ""
        is_secure = server.transport.get_extra_info("ssl_object") is not None
        lines = [
            f"connections: {self.connections}",
            f"tls: {'yes' if is_secure else 'no'}",
            f"user: {user}",
            f"from: {envelope.mail_from}",
            *(f"to: {recipient}" for recipient in envelope.rcpt_tos),
        ]
        self.mails += 1
        (self.store / f"{self.mails}.eml").write_bytes(envelope.original_content)
        # Whoever waits for the envelope finds it whole.
        unfinished = self.store / f"{self.mails}.part"
        unfinished.write_text("".join(f"{l}\n" for l in lines))
        unfinished.rename(self.store / f"{self.mails}.envelope")
        return "250 OK"


def certificate_context(store):
    key, certificate = store / "key.pem", store / "certificate.pem"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-days", "2", "-subj", "/CN=self-made.invalid",
         "-keyout", str(key), "-out", str(certificate)],
        check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    return context


def authenticator(user, password):
    def check(server, session, envelope, mechanism, data):
        known = (isinstance(data, LoginPassword)
                 and data.login == user.encode() and data.password == password.encode())
        return AuthResult(success=known, handled=False, auth_data=data)
    return check


async def serve(options):
    mailbox = Mailbox(options.store, options.refuse_recipient)
    has_tls = options.tls in ("starttls", "implicit")
    context = certificate_context(options.store) if has_tls else None
    login = {}
    if options.user is not None:
        login = dict(authenticator=authenticator(options.user, options.password),
                     auth_required=True, auth_require_tls=False)
        if options.only_mechanism == "LOGIN":
            login["auth_exclude_mechanism"] = ["PLAIN"]
        elif options.only_mechanism == "PLAIN":
            login["auth_exclude_mechanism"] = ["LOGIN"]

    def connection():
        if options.tls == "broken":
            return NoTls()
        return Server(mailbox, hostname="test.invalid", data_size_limit=None, timeout=options.idle_seconds,
                      tls_context=context if options.tls == "starttls" else None, **login)

    loop = asyncio.get_running_loop()
    server = await loop.create_server(connection, "127.0.0.1", 0,
                                      ssl=context if options.tls == "implicit" else None)
    print("PORT", server.sockets[0].getsockname()[1], flush=True)
    await loop.run_in_executor(None, sys.stdin.read)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--store", type=pathlib.Path, required=True)
    parser.add_argument("--tls", choices=["none", "starttls", "implicit", "broken"], default="none")
    parser.add_argument("--user")
    parser.add_argument("--password", default="")
    parser.add_argument("--only-mechanism", choices=["PLAIN", "LOGIN"])
    parser.add_argument("--refuse-recipient")
    parser.add_argument("--idle-seconds", type=float, default=300)
    # A login without TLS is what some tests are about; the server library warns of it at length.
    warnings.simplefilter("ignore")
    logging.disable()
    asyncio.run(serve(parser.parse_args()))


if __name__ == "__main__":
    main()
