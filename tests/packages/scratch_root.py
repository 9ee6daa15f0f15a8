"""A directory with a package database of its own, in which the Debian packages are installed once
for all tests. It takes over from the machine what it knows of the packages that these depend on, so
that dpkg tests the dependencies, and the machine itself stays as it is."""

import atexit
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = PROJECT / "build/packages"
VERSION = re.search(r"project\(edgefold VERSION (\S+)",
                    (PROJECT / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
NAMES = ["edgefold", "edgescope", "edgefold-producers", "libhotpath-dev"]


def run(command, **settings):
    """Both streams of a command that has to succeed."""
    result = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True, timeout=300, **settings)
    if result.returncode != 0:
        raise AssertionError("%s: status %d\n%s%s" % (command, result.returncode, result.stdout,
                                                      result.stderr))
    return result.stdout, result.stderr


def debian_package(name):
    package, = PACKAGES.glob("%s_%s_*.deb" % (name, VERSION))
    return package


def scratch_directory():
    directory = pathlib.Path(tempfile.mkdtemp(prefix="edgefold-"))
    atexit.register(shutil.rmtree, directory)
    return directory


def unpacked_archive():
    archive, = PACKAGES.glob("edgefold-%s-*.tar.gz" % VERSION)
    directory = scratch_directory()
    run(["tar", "-xzf", archive, "-C", directory])
    top, = directory.iterdir()
    return top


def dependencies():
    fields = [run(["dpkg", "-f", debian_package(name), "Depends"])[0] for name in NAMES]
    return sorted({re.match(r"[\w.+-]+", part.strip())[0]
                   for field in fields for part in field.split(",")} - set(NAMES))


class ScratchRoot:
    def __init__(self):
        self.path = scratch_directory()
        database = self.path / "var/lib/dpkg"
        (database / "info").mkdir(parents=True)
        (database / "status").write_text(run(["dpkg-query", "-s", *dependencies()])[0])

    def dpkg(self, *arguments):
        return run(["dpkg", "--root=%s" % self.path, *arguments])

    def install(self):
        self.dpkg("-i", *map(debian_package, NAMES))
        return self

    def purge(self):
        self.dpkg("-P", *NAMES)

    def files(self):
        """All files outside of the package database, by their paths in the root."""
        found = {"/" + os.path.relpath(path, self.path) for path in self.path.rglob("*")
                 if not path.is_dir()}
        return {path for path in found if not path.startswith("/var/lib/dpkg/")}


_installed = []


def installed_root():
    """The root with both packages in it; tests leave it as it is."""
    if not _installed:
        _installed.append(ScratchRoot().install())
    return _installed[0]
