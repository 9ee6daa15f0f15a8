#!/usr/bin/env python3
"""Measures how each engine merges many runs of a real program by the scripts in examples/fleet.

    fleet_engines.py --binary PATH [--runs 10000] [--group 100] [--place DIR] [ENGINE...]

Run it as root, with what ./dev test fleet installs: the engines are set up as the tests of the fleet do it. The runs are
made of one recording: a run ran for another time and saw another sample, so that the hot edges stand in each, the cold
ones in few. Time is that of the clock and of all processors, of the servers too; memory is the peak of the largest
process; "between" is the size of the databases that are written by one step and read by the next.
"""

import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "fleet"))
import cluster  # pylint: disable=wrong-import-position

EXAMPLES = HERE.parent / "examples"
FLEET = EXAMPLES / "fleet"

SLURM = """
set -euo pipefail
find runs -name '*.csv' | sort -V | list-groups parts "$GROUP"
array=$(sbatch --parsable --array=1-8 {fleet}/merge-array.sbatch parts)
last=$(sbatch --parsable --dependency=afterok:"$array" --kill-on-invalid-dep=yes --output=last.log \
    --wrap 'merge-group merged.db --parts parts')
while squeue -h -j "$last" 2>/dev/null | grep -q .; do sleep 0.5; done
"""
AT_ONCE = "cd runs && merge-group ../merged.db $(ls -v)"
ENGINES = {
    "at once": (None, AT_ONCE, None),
    "make": (None, "make -s -j2 -f {fleet}/Makefile merged.db", "parts"),
    "parallel": (None, "find runs -name '*.csv' | sort -V | merge-tree merged.db", "merged.db.tree"),
    "parallel over ssh": (cluster.SshHosts, "find runs -name '*.csv' | sort -V | merge-tree merged.db", "merged.db.tree"),
    "Slurm": (cluster.Slurm, SLURM, "parts"),
    "Dask": (cluster.Dask, "find $PWD/runs -name '*.csv' | sort -V | /usr/bin/python3 {fleet}/merge_on_dask.py "
             + cluster.Dask.address + " merged.db", None),
}


def make_runs(place, count):
    """Writes the runs, and gives their size."""
    header, *rows = (EXAMPLES / "gtest-run1.csv").read_text().splitlines()
    split = [row.rpartition(",") for row in rows]
    starts, hits = [head + "," for head, _, _ in split], [float(hit) for _, _, hit in split]
    chance = random.Random(1)
    place.mkdir()
    size = 0
    for n in range(count):
        share = 0.1 + 0.9 * chance.random()
        lines = [header]
        for start, hit in zip(starts, hits):
            seen = int(hit * share + chance.random())
            if seen:
                lines.append(start + str(seen))
        size += (place / ("%d.csv" % n)).write_text("\n".join(lines) + "\n")
    return size


class Processors:
    """The time of all processors that the descendants of this process use: that of a control group, without its own."""

    def __init__(self):
        name = "fleet-%d" % time.monotonic_ns()
        first = pathlib.Path("/sys/fs/cgroup/cpuacct")
        self.group = (first if first.exists() else pathlib.Path("/sys/fs/cgroup")) / name
        self.group.mkdir()
        (self.group / "cgroup.procs").write_text(str(os.getpid()))

    def seconds(self):
        usage = self.group / "cpuacct.usage"
        if usage.exists():
            return int(usage.read_text()) / 1e9 - time.process_time()
        return int(re.search(r"usage_usec (\d+)", (self.group / "cpu.stat").read_text())[1]) / 1e6 - time.process_time()

    def leave(self):
        (self.group.parent / "cgroup.procs").write_text(str(os.getpid()))
        cluster.wait_until(lambda: not (self.group / "cgroup.procs").read_text(), "the processes to end")
        self.group.rmdir()


class Memory(threading.Thread):
    """Looks for the largest process but this one."""

    def __init__(self):
        super().__init__(daemon=True)
        self.peak = 0
        self.done = threading.Event()

    def run(self):
        while not self.done.wait(0.1):
            for path in pathlib.Path("/proc").glob("[0-9]*/status"):
                if int(path.parent.name) == os.getpid():
                    continue
                try:
                    found = re.search(r"VmHWM:\s+(\d+)", path.read_text())
                except OSError:
                    continue
                self.peak = max(self.peak, int(found[1]) * 1024 if found else 0)


def measure(name, place, path, group):
    servers, command, parts = ENGINES[name]
    processors = Processors()
    memory = Memory()
    (place / "servers").mkdir()
    running = servers(place / "servers", path) if servers else None
    memory.start()
    spent, start = processors.seconds(), time.monotonic()
    subprocess.run(["bash", "-c", command.format(fleet=FLEET)], cwd=place, check=True, stderr=subprocess.DEVNULL,
                   env=dict(os.environ, PATH=path, GROUP=str(group), **(running.variables if running else {})))
    took, spent = time.monotonic() - start, processors.seconds() - spent
    memory.done.set()
    memory.join()
    if running:
        running.stop()
    processors.leave()
    between = sum(file.stat().st_size for file in (place / parts).glob("**/*.db")) if parts else 0
    print("  %-18s %8.1f s %9.1f s %7.1f MB %8.1f MB" % (name, took, spent, memory.peak / 1e6, between / 1e6), flush=True)
    sums = [line for line in (place / "merged.db.sums").read_text().splitlines() if not line.startswith("members")]
    for left in ("servers", "parts", "merged.db.tree"):
        shutil.rmtree(place / left, ignore_errors=True)
    for left in place.glob("merged.db*"):
        left.unlink()
    return sums


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True, type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=10000)
    parser.add_argument("--group", type=int, default=100)
    parser.add_argument("--place", default=None, help="a directory with room for the runs")
    parser.add_argument("engines", nargs="*", default=list(ENGINES), metavar="ENGINE")
    options = parser.parse_args()
    cluster.enter_namespaces()
    path = os.pathsep.join([str(options.binary.resolve().parent), str(FLEET), os.environ["PATH"]])
    with tempfile.TemporaryDirectory(dir=options.place) as scratch:
        os.chmod(scratch, 0o755)
        place = pathlib.Path(scratch)
        size = make_runs(place / "runs", options.runs)
        print("%d runs, %d MB; clock, processors, memory, between" % (options.runs, size / 1e6), flush=True)
        sums = [measure(name, place, path, options.group) for name in options.engines]
    same = all(found == sums[0] for found in sums)
    print("sums: " + ("the same" if same else "NOT THE SAME"))
    sys.exit(0 if same else 1)


if __name__ == "__main__":
    main()
