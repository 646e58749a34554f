"""The mail server of the demonstration, for as long as a program runs."""

import contextlib
import subprocess
import sys


@contextlib.contextmanager
def mail_server(source, mails):
    """Yields its port; the mails become files in the new folder `mails`."""
    mails.mkdir()
    server = subprocess.Popen([sys.executable, source / "scripts/demo-mail-server.py", mails],
                              stdout=subprocess.PIPE, text=True)
    try:
        yield server.stdout.readline().strip()
    finally:
        server.terminate()
        server.wait()
