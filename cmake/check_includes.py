#!/usr/bin/env python3
"""Keeps the house in order: who may include whom, and where the operating system may be seen."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ROOT / "src"

# What each floor may include besides itself.
HOTPATH = "shared/hotpath/"
ALLOWED = {
    "diag": [],
    HOTPATH + "names": ["diag"],
    HOTPATH + "model": ["diag"],
    HOTPATH + "database": ["diag", HOTPATH + "names", HOTPATH + "model"],
    HOTPATH + "readers": ["diag", HOTPATH + "names", HOTPATH + "model", HOTPATH + "database"],
    HOTPATH + "report": ["diag", HOTPATH + "names", HOTPATH + "model", HOTPATH + "readers"],
    "tool": ["diag"] + [HOTPATH + room for room in
                        ("names", "model", "database", "readers", "report")],
}
# A proxy loads its record from the database: the one arrow that runs up.
KNOWN_ARROWS = {(HOTPATH + "model/function_record_proxy.cpp", HOTPATH + "database/sample_db.h")}

PLATFORM = re.compile(r"^(diag/platform[^/]*|tool/main\.cpp)$")
SYSTEM_HEADER = re.compile(r"(.*\.h)$")
# C headers that belong to no system.
PORTABLE_HEADERS = {"sqlite3.h", "emmintrin.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]')
SYSTEM_TEST = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif).*(_WIN32|_WIN64|__linux__|__unix__|__APPLE__)")


def floor_of(path):
    return next((floor for floor in ALLOWED if path.startswith(floor + "/")), None)


def fault(name, kind, header):
    if kind == "<":
        system = SYSTEM_HEADER.match(header) and header not in PORTABLE_HEADERS
        return "includes the system header " + header if system and not PLATFORM.match(name) else None
    floor, target = floor_of(name), floor_of(header)
    if target is None or ".." in header:
        return "includes " + header + ", which is on no floor"
    if target == floor or target in ALLOWED[floor] or (name, header) in KNOWN_ARROWS:
        return None
    return "includes " + header + ", which its floor may not"


def faults_of(path):
    name = path.relative_to(SOURCES).as_posix()
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        include = INCLUDE.match(line)
        what = fault(name, *include.groups()) if include else None
        if SYSTEM_TEST.match(line) and not PLATFORM.match(name):
            what = "asks which system it is on"
        if what:
            yield "src/%s:%d: %s" % (name, number, what)


def main():
    faults = [fault for path in sorted(SOURCES.rglob("*")) if path.suffix in (".h", ".cpp")
              for fault in faults_of(path)]
    print("\n".join(faults) if faults else "includes: as the house has them")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
