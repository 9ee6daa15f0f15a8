"""Runs the programs that read binaries for us: readelf, objdump, a symbolizer."""

import subprocess

from . import BadInput


def output_of(command, stdin=""):
    """What the command printed on standard output."""
    try:
        done = subprocess.run(command, input=stdin, capture_output=True, encoding="utf-8",
                              errors="surrogateescape", check=False)
    except FileNotFoundError:
        raise BadInput("%s is not installed" % command[0]) from None
    if done.returncode != 0:
        raise BadInput("%s: %s" % (command[0], done.stderr.strip() or "failed"))
    return done.stdout
