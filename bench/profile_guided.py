#!/usr/bin/env python3
"""Builds real programs with the profiles that this project makes of them, and counts what that saves.

    profile_guided.py --build BUILD_DIRECTORY [--programs NAME,...] [--work DIR] [--keep]

Each program comes from Debian's source packages. It is built by clang -O2, recorded by callgrind,
and built again with the profile that callgrind2edges, edgefold and edgescope make of the recording.
Against that stand plain -O2 and the compiler's own instrumented profile of the same run. What is
compared are the instructions that the same job executes, as cachegrind counts them: the figure is
the same in each run, on any machine. Needs clang, llvm, valgrind and dpkg-dev.
"""

import argparse
import os
import pathlib
import random
import subprocess
import sys
import tempfile

PROFILED = ["-O2", "-gdwarf-4", "-fdebug-info-for-profiling"]


def run(words, **options):
    return subprocess.run([str(word) for word in words], check=True, **options)


class Program:
    """A program of a source package: what to compile, and a job for it."""

    def __init__(self, name, package, compiler, flags, sources, job, prepare=None):
        self.name, self.package, self.compiler = name, package, compiler
        self.flags, self.sources, self.job, self.prepare = flags, sources, job, prepare


def amalgamate_sqlite(tree):
    run(["make", "-s", "-f", "main.mk", "TOP=.", "BCC=gcc", "TCC=gcc", "NAWK=awk", "sqlite3.c",
         "shell.c"], cwd=tree, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


ZLIB = ["adler32", "crc32", "deflate", "infback", "inffast", "inflate", "inftrees", "trees", "zutil",
        "compress", "uncompr", "gzclose", "gzlib", "gzread", "gzwrite", "test/minigzip"]

# A job is the program's arguments and the file on its standard input.
PROGRAMS = [
    Program("minigzip", "zlib", "clang", ["-DHAVE_UNISTD_H", "-DHAVE_HIDDEN", "-I."],
            [name + ".c" for name in ZLIB], (["-d"], "text.gz")),
    Program("sqlite3", "sqlite3", "clang", ["-DSQLITE_THREADSAFE=0", "-DSQLITE_OMIT_LOAD_EXTENSION"],
            ["sqlite3.c", "shell.c", "-lm"], (["-batch", ":memory:"], "queries.sql"),
            amalgamate_sqlite),
    Program("xmlwf", "expat", "clang",
            ["-DXML_DEV_URANDOM", "-DXML_POOR_ENTROPY", "-DXML_NS", "-DXML_DTD",
             "-DXML_CONTEXT_BYTES=1024", "-DHAVE_MEMMOVE", '-DPACKAGE="expat"', '-DVERSION="0"',
             "-DBYTEORDER=1234", "-Iexpat/lib", "-Ilib"],
            ["lib/xmlparse.c", "lib/xmlrole.c", "lib/xmltok.c", "xmlwf/xmlwf.c", "xmlwf/xmlfile.c",
             "xmlwf/codepage.c", "xmlwf/unixfilemap.c"], (["-n", "document.xml"], "/dev/null")),
    Program("lzip", "lzip", "clang++", ["-std=c++11", '-DPROGVERSION="0"'],
            [name + ".cc" for name in ("arg_parser", "lzip_index", "list", "encoder_base", "encoder",
                                       "fast_encoder", "decoder", "main")], (["-3"], "text")),
]


class Sources:
    """Source packages, fetched by a list of packages of its own: the machine's stays as it is."""

    def __init__(self, place):
        self.place = place
        for name in ("lists/partial", "cache/archives/partial"):
            (place / "apt" / name).mkdir(parents=True, exist_ok=True)
        machine = pathlib.Path("/etc/apt/sources.list.d/debian.sources")
        text = machine.read_text().replace("Types: deb\n", "Types: deb-src\n")
        (place / "apt/list.sources").write_text(text)
        self.apt(["update"])

    def apt(self, words):
        apt = self.place / "apt"
        run(["apt-get", "-qq", "-o", "Dir::Etc::sourcelist=%s" % (apt / "list.sources"),
             "-o", "Dir::Etc::sourceparts=-", "-o", "Dir::State::lists=%s" % (apt / "lists"),
             "-o", "Dir::Cache=%s" % (apt / "cache"), "-o", "APT::Sandbox::User=root"] + words,
            cwd=self.place, stdout=subprocess.DEVNULL)

    def fetch(self, package):
        tree = self.place / package
        if not tree.exists():
            self.apt(["source", "--download-only", "--tar-only", package])
            tree.mkdir()
            archive = next(path for path in self.place.glob(package + "_*.orig.tar.*")
                           if not path.name.endswith(".asc"))
            run(["tar", "-xf", archive, "-C", tree, "--strip-components=1"])
        inner = tree / package
        return inner if inner.is_dir() and not list(tree.glob("*.c")) else tree


def write_inputs(place, text):
    dice = random.Random(3)
    (place / "text").write_bytes(text[:300000])
    (place / "long").write_bytes(text[:1500000])
    with open(place / "text.gz", "wb") as packed:
        run(["gzip", "-c", place / "long"], stdout=packed)
    with open(place / "document.xml", "w", encoding="utf-8") as file:
        file.write('<?xml version="1.0" encoding="UTF-8"?>\n<root>\n')
        for i in range(12000):
            file.write('  <item id="%d" class="c%d"><name>Name &amp; %d</name><v x=\'%s\'>%s</v>'
                       "<!-- c %d --></item>\n"
                       % (i, i % 7, i, "ab" * (i % 9), "text \u00e4 " * (i % 11), i))
        file.write("</root>\n")
    with open(place / "queries.sql", "w", encoding="ascii") as file:
        file.write("create table t(a integer primary key, b text, c real);\n"
                   "create index ix on t(b);\nbegin;\n")
        for i in range(4000):
            file.write("insert into t values(%d,'k%d',%f);\n"
                       % (i, dice.randrange(10000), dice.random()))
        file.write("commit;\nselect count(*),sum(c) from t where b like 'k1%';\n"
                   "select b,count(*) from t group by b order by 2 desc limit 5;\n"
                   "update t set c=c*2 where a%3=0;\ndelete from t where a%7=1;\n"
                   "select x.a from t x join t y on x.b=y.b and x.a<y.a order by 1 limit 10;\n")
        for _ in range(1500):
            file.write("select c from t where a=%d;\n" % dice.randrange(4000))


class Trial:
    """One program's builds and counts."""

    def __init__(self, program, tree, place, tools):
        self.program, self.tree, self.place, self.tools = program, tree, place, tools

    def build(self, kind, flags):
        binary = self.place / ("%s.%s" % (self.program.name, kind))
        run([self.program.compiler, "-w"] + flags + self.program.flags + self.program.sources +
            ["-o", binary], cwd=self.tree)
        return binary

    def execute(self, binary, before=(), **environment):
        words, stdin = self.program.job
        with open(self.place / stdin, "rb") as stream:
            return run(list(before) + [binary] + words, cwd=self.place, stdin=stream,
                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                       env=dict(os.environ, **environment))

    def instructions(self, binary):
        done = self.execute(binary, ["valgrind", "--tool=cachegrind", "--cache-sim=no",
                                     "--cachegrind-out-file=/dev/null"])
        line = next(line for line in done.stderr.decode().splitlines() if "I" in line and "refs" in line)
        return int(line.split()[-1].replace(",", ""))

    def sample_profile(self, binary):
        name = self.place / self.program.name
        recording, edges, database = ("%s.%s" % (name, end) for end in ("out", "csv", "db"))
        self.execute(binary, ["valgrind", "-q", "--tool=callgrind", "--dump-instr=yes",
                              "--collect-jumps=yes", "--callgrind-out-file=" + recording])
        with open(edges, "wb") as file:
            run([self.tools / "callgrind2edges", binary, recording], stdout=file,
                stderr=subprocess.DEVNULL)
        run([self.tools / "edgefold", "-nologo", "-quiet", "-file", os.path.basename(edges), "-out",
             os.path.basename(database)], cwd=self.place)
        run([self.tools / "edgescope", "export", "--to", "llvm", "--program", binary, "-o",
             str(name) + ".prof", database])
        run(["llvm-profdata", "merge", "--sample", str(name) + ".prof", "-o", str(name) + ".sampled"])
        return str(name) + ".sampled"

    def instrumented_profile(self):
        name = str(self.place / self.program.name)
        binary = self.build("counting", ["-O2", "-fprofile-instr-generate"])
        self.execute(binary, LLVM_PROFILE_FILE=name + ".raw")
        run(["llvm-profdata", "merge", name + ".raw", "-o", name + ".instrumented"])
        return name + ".instrumented"

    def counts(self):
        plain = self.build("plain", PROFILED)
        sampled = self.build("sampled", PROFILED + ["-fprofile-sample-use=" + self.sample_profile(plain)])
        instrumented = self.build("instrumented",
                                  ["-O2", "-fprofile-instr-use=" + self.instrumented_profile()])
        return [self.instructions(binary) for binary in (plain, instrumented, sampled)]


def main():
    parser = argparse.ArgumentParser(description="Count what profiles save.")
    parser.add_argument("--build", required=True, help="where the tools were built")
    parser.add_argument("--programs", default=",".join(program.name for program in PROGRAMS))
    parser.add_argument("--work", help="where to work; kept")
    options = parser.parse_args()
    tools = pathlib.Path(options.build).resolve()
    wanted = options.programs.split(",")
    with tempfile.TemporaryDirectory(prefix="profile_guided_") as scratch:
        place = pathlib.Path(options.work or scratch).resolve()
        place.mkdir(parents=True, exist_ok=True)
        sources = Sources(place)
        write_inputs(place, b"".join(sorted(path.read_bytes() for path in
                                            sources.fetch("zlib").glob("*.[ch]"))) * 3)
        shares = []
        print("%-10s %14s %14s %14s %10s" % ("instructions", "-O2", "instrumented", "sampled", "share"))
        for program in PROGRAMS:
            if program.name not in wanted:
                continue
            tree = sources.fetch(program.package)
            if program.prepare and not (tree / program.sources[0]).exists():
                program.prepare(tree)
            plain, instrumented, sampled = Trial(program, tree, place, tools).counts()
            shares.append((plain - sampled) / (plain - instrumented))
            print("%-10s %14s %6s (%.1f %%) %6s (%.1f %%) %8.0f %%" % (
                program.name, format(plain, ","), format(instrumented, ","),
                100 * (instrumented / plain - 1), format(sampled, ","), 100 * (sampled / plain - 1),
                100 * shares[-1]), flush=True)
        print("share of the instrumented profile's saving, on average: %.0f %%"
              % (100 * sum(shares) / len(shares)))


if __name__ == "__main__":
    sys.exit(main())
