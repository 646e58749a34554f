"""Manual pages as a terminal shows them."""

import os
import re
import subprocess
import sys


def formatted(file):
    """The page as a terminal shows it, without its line breaks."""
    result = subprocess.run(["groff", "-Kutf8", "-Tutf8", "-man", "-ww", "-rLL=200n", "-P-cbou", file],
                            check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            env={**os.environ, "GROFF_NO_SGR": "1"})
    if result.stderr:
        sys.exit(f"{file}: {result.stderr}")
    return squeezed(result.stdout)


def squeezed(text):
    # The formatter breaks lines after a hyphen, and has characters of its own for quotes.
    return re.sub(r"\s+", "", text.translate(str.maketrans("‐−’‘", "--''")))
