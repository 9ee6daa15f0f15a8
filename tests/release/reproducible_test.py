#!/usr/bin/env python3
"""Builds the packages a second time, elsewhere and later, and compares them with those in build/packages to the byte.

    reproducible_test.py
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = PROJECT / "build/packages"


def packages(directory):
    return {path.name: path.read_bytes() for path in sorted(directory.iterdir()) if "windows" not in path.name}


def copy_sources(place):
    names = subprocess.run(["git", "ls-files", "-z"], cwd=PROJECT, check=True, capture_output=True).stdout
    for name in filter(None, names.decode().split("\0")):
        target = place / name
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(PROJECT / name, target)


def main():
    first = packages(PACKAGES)
    kinds = {kind: sum(name.endswith(kind) for name in first) for kind in (".deb", ".tar.gz", ".sha256", ".spdx.json")}
    if min(kinds.values()) == 0:
        sys.exit("expected packages, an archive, its checksum and its list: %s" % list(first))
    with tempfile.TemporaryDirectory(prefix="edgefold-another-place-") as place:
        tree = pathlib.Path(place) / "sources"
        copy_sources(tree)
        # What a cache of compilations gives again proves nothing.
        environment = {name: value for name, value in os.environ.items() if not name.endswith("COMPILER_LAUNCHER")}
        subprocess.run(["./dev", "package"], cwd=tree, check=True, stdout=subprocess.DEVNULL, env=environment)
        second = packages(tree / "build/packages")
    differing = [name for name in sorted(first.keys() | second.keys()) if first.get(name) != second.get(name)]
    for name in differing:
        print("differs:", name)
    print("%d files, %d of them unlike those of the first build" % (len(first), len(differing)))
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
