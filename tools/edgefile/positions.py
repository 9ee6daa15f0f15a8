"""Source positions of addresses, from the debug information of a binary.

Where code was inlined, the position is the one in the function that the address belongs to: the place of
the outermost call. So all code of a function is found under the function's own file.
"""

import collections
import json
import os
import re
import shutil

from . import BadInput
from .run import output_of

Position = collections.namedtuple("Position", "file line offset column discriminator")
UNKNOWN = Position("NA", -1, 0, 0, 0)


def find_symbolizer():
    """llvm-symbolizer, or addr2line, which knows neither columns nor where functions begin."""
    for name in ["llvm-symbolizer"] + ["llvm-symbolizer-%d" % n for n in range(30, 13, -1)]:
        if shutil.which(name):
            return name
    return "addr2line"


def read_positions(path, addresses, root=None, symbolizer=None):
    """address -> Position, for each of the addresses"""
    addresses = sorted(addresses)
    symbolizer = symbolizer or find_symbolizer()
    text = "".join("0x%x\n" % address for address in addresses)
    if "addr2line" in os.path.basename(symbolizer):
        found = ask_addr2line(symbolizer, path, text)
    else:
        found = ask_llvm(symbolizer, path, text)
    if len(found) != len(addresses):
        raise BadInput("%s answered %d of %d questions" % (symbolizer, len(found), len(addresses)))
    if all(position.line == -1 for position in found):
        raise BadInput("%s has no debug information: compile it with -g" % path)
    return {address: position._replace(file=below(position.file, root))
            for address, position in zip(addresses, found)}


def below(path, root):
    """The path, relative to the root directory if it lies there."""
    if root is None or not os.path.isabs(path):
        return path
    path, root = os.path.normpath(path), os.path.abspath(root)
    return path.removeprefix(os.path.join(root, ""))


def ask_llvm(symbolizer, path, text):
    output = output_of([symbolizer, "--obj=" + path, "--output-style=JSON", "--no-demangle"], text)
    return [llvm_position(json.loads(line).get("Symbol") or []) for line in output.splitlines()]


def llvm_position(frames):
    if not frames or not frames[-1]["FileName"]:
        return UNKNOWN
    frame = frames[-1]
    if frame["Line"] == 0:  # the compiler's own code: no line of the source has made it
        return UNKNOWN._replace(file=frame["FileName"])
    offset = max(0, frame["Line"] - frame["StartLine"]) if frame["StartLine"] else 0
    return Position(frame["FileName"], frame["Line"], offset, frame["Column"], frame["Discriminator"])


def ask_addr2line(symbolizer, path, text):
    output = output_of([symbolizer, "--addresses", "--inlines", "--exe=" + path], text)
    answers = re.split(r"^0x[0-9a-f]+\n", output, flags=re.MULTILINE)[1:]
    return [addr2line_position(answer.splitlines()[-1]) for answer in answers]


def addr2line_position(text):
    match = re.fullmatch(r"(.*):(\d+|\?)(?: \(discriminator (\d+)\))?", text)
    if not match or match[1] == "??":
        return UNKNOWN
    if match[2] in ("?", "0"):
        return UNKNOWN._replace(file=match[1])
    return Position(match[1], int(match[2]), 0, 0, int(match[3] or 0))
