#!/usr/bin/env python3
"""Keeps the house in order: who may include whom, and where the operating system may be seen.

A floor is a folder of src/, a room a header together with its source. Fails on an include that its
floor may not make, on an arrow that is allowed but that no include makes, on rooms whose headers
include each other in a circle, and where docs/architecture.md draws the house in another way.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ROOT / "src"
DRAWING = ROOT / "docs/architecture.md"

# What each floor may include besides itself.
HOTPATH = "hotpath/"
ALLOWED = {
    "diag": [],
    "program": [],
    HOTPATH + "names": ["diag"],
    HOTPATH + "model": ["diag"],
    HOTPATH + "database": ["diag", HOTPATH + "model"],
    HOTPATH + "readers": ["diag", HOTPATH + "names", HOTPATH + "model", HOTPATH + "database"],
    HOTPATH + "report": ["diag", HOTPATH + "model"],
    HOTPATH + "facade": ["diag"] + [HOTPATH + floor for floor in
                                    ("names", "model", "database", "readers")],
    "edgefold": ["diag"] + [HOTPATH + floor for floor in
                            ("model", "database", "readers", "report")],
    "edgescope": [HOTPATH + "facade", "program"],
}

PLATFORM = re.compile(r"^(diag/platform[^/]*|edgefold/main\.cpp|edgescope/terminal_(posix|windows)\.cpp)$")
SYSTEM_HEADER = re.compile(r"(.*\.h)$")
# C headers that belong to no system.
PORTABLE_HEADERS = {"sqlite3.h", "emmintrin.h", "dwarf.h", "gelf.h", "elfutils/libdw.h",
                    "elfutils/libdwelf.h", "capstone/capstone.h", "cxxabi.h", "fmt/color.h",
                    "fmt/compile.h", "fmt/core.h", "fmt/format.h", "zlib.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]')
SYSTEM_TEST = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif).*(_WIN32|_WIN64|__linux__|__unix__|__APPLE__)")


def floor_of(path):
    return next((floor for floor in ALLOWED if path.startswith(floor + "/")), None)


def room_of(path):
    """The header's name without its ending. A system's source belongs to the room without it."""
    return re.sub(r"(_posix|_windows)?\.(h|cpp)$", "", path)


def fault(name, kind, header):
    if kind == "<":
        system = SYSTEM_HEADER.match(header) and header not in PORTABLE_HEADERS
        return "includes the system header " + header if system and not PLATFORM.match(name) else None
    floor, target = floor_of(name), floor_of(header)
    if target is None or ".." in header:
        return "includes " + header + ", which is on no floor"
    if target == floor or target in ALLOWED[floor]:
        return None
    return "includes " + header + ", which its floor may not"


def faults_of_lines(sources):
    for name, lines in sources.items():
        for number, line in enumerate(lines, 1):
            include = INCLUDE.match(line)
            what = fault(name, *include.groups()) if include else None
            if SYSTEM_TEST.match(line) and not PLATFORM.match(name):
                what = "asks which system it is on"
            if what:
                yield "src/%s:%d: %s" % (name, number, what)


def own_includes(sources):
    """Pairs of a file and a header of ours that it includes."""
    for name, lines in sources.items():
        for line in lines:
            include = INCLUDE.match(line)
            if include and include[1] == '"':
                yield name, include[2]


def unused_arrows(includes):
    used = {(floor_of(name), floor_of(header)) for name, header in includes}
    for floor, targets in ALLOWED.items():
        for target in targets:
            if (floor, target) not in used:
                yield "%s may include %s, and never does" % (floor, target)


def reachable(room, rooms):
    found, waiting = set(), [room]
    while waiting:
        for target in rooms.get(waiting.pop(), ()):
            if target not in found:
                found.add(target)
                waiting.append(target)
    return found


def circles(includes):
    rooms = {}
    for name, header in includes:
        if room_of(name) != room_of(header):
            rooms.setdefault(room_of(name), set()).add(room_of(header))
    in_circles = {room for room in rooms if room in reachable(room, rooms)}
    for room in sorted(in_circles):
        nearest = sorted(target for target in rooms[room] if room in reachable(target, rooms))
        yield "%s includes %s, which includes it in turn" % (room, ", ".join(nearest))


def drawn_floors(text):
    """The floors of the drawing's table with three columns, each with the floors that it includes."""
    names = {floor.rsplit("/", 1)[-1]: floor for floor in ALLOWED}
    rows = re.findall(r"^\| `([^`|]+)/` \|[^|]*\|([^|]*)\|$", text, re.MULTILINE)
    return {folder: {names.get(name, name) for name in re.findall("`([^`]+)`", includes)}
            for folder, includes in rows}


def folders():
    """The tree's folders down to the floors, without what is built."""
    for path in sorted((*ROOT.glob("*/"), *ROOT.glob("tests/*/"), *ROOT.glob("src/*/"),
                        *ROOT.glob("src/*/*/"))):
        if path.is_dir() and not path.name.startswith((".", "__")) and path != ROOT / "build":
            yield path.name


def faults_of_drawing(text):
    drawn = drawn_floors(text)
    for floor in sorted(set(ALLOWED) | set(drawn)):
        if drawn.get(floor, set()) != set(ALLOWED.get(floor, ())):
            yield "docs/architecture.md: %s has other includes in the drawing" % floor
    for folder in folders():
        if "`%s/`" % folder not in text and "/%s/`" % folder not in text:
            yield "docs/architecture.md: doesn't name the folder %s/" % folder


def main():
    sources = {path.relative_to(SOURCES).as_posix(): path.read_text(encoding="utf-8").splitlines()
               for path in sorted(SOURCES.rglob("*")) if path.suffix in (".h", ".cpp")}
    includes = list(own_includes(sources))
    faults = [*faults_of_lines(sources), *unused_arrows(includes), *circles(includes),
              *faults_of_drawing(DRAWING.read_text(encoding="utf-8"))]
    print("\n".join(faults) if faults else "includes: no faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
