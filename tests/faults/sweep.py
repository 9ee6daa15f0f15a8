#!/usr/bin/env python3
"""Runs edgefold_faulty with each call in turn failing, and checks how the run ends.

    sweep.py --binary PATH [--sources LIST] [--places] [--stride N] [--offset N] [--jobs N]

Sources are "tool" (the C heap), "sqlite" (SQLite's heap) and "files" (SQLite's files: each kind of
call, with each of its errors); all of them where none is named. A failure strikes once, or from
then on, in each flow and both database modes. With --places, a heap refuses only the first of the
calls that come from one place in the program. With a stride, only every N-th of these calls fails,
from the offset on. Checked are the exit status, both streams, the database, and that a later run
copes with it. Exit status 1 if any run isn't as it has to be.
"""

import argparse
import collections
import itertools
import multiprocessing
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import contents  # noqa: E402
import expectation  # noqa: E402
from expectation import Log, Unexplained  # noqa: E402

TIME_LIMIT = 30

# --- What is run ----------------------------------------------------------------------------------

COLUMNS = ("FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,"
           "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
           "DestinationFunctionMangled,HitCount,EntryBlock,FromSourceColumn,"
           "DestinationSourceColumn\n")

SMALL = COLUMNS + """\
10,Cond,a.c,1,main,20,a.c,2,main,5,yes,3,4
20,Call,a.c,2,main,30,lib/b.c,7,helper.1,9,no,1,1
30,Cond,lib/b.c,7,helper.1,40,lib/b.c,8,helper.1,2,no,1,1
40,Ret,lib/b.c,8,helper.1,20,a.c,2,main,9,no,1,1
50,Cond,a.c,3,L_%s__par_loop3_2.7,60,a.c,4,L_%s__par_loop3_2.7,1,no,1,1
60,Cond,lib/b.c,9,zeta,70,lib/b.c,4,zeta,1,no,1,1
61,Call,lib/b.c,9,zeta,80,a.c,4,main,1,no,1,1
61,Call,lib/b.c,9,zeta,80,a.c,4,helper,1,no,1,1
60,Cond,a.c,3,?f@lib\\a_b.cpp@@,70,a.c,4,?f@lib\\a_b.cpp@@,1,no,1,1
""" % ("a" * 300, "a" * 300)

OTHER = COLUMNS + """\
10,Cond,a.c,1,main,20,a.c,2,main,3,no,3,4
11,Call,a.c,2,main,30,b.c,7,other,4,no,1,1
30,Cond,b.c,7,other,40,b.c,8,other,2,no,1,1
"""


def many_edges(functions, edges, first):
    """Functions that each have so many edges and as many calls."""
    rows = [f"{(first + e) * 16:x},Cond,f{f % 5}.c,{e},fn{f},{(first + e) * 16 + 8:x},f{f % 5}.c,"
            f"{e + 1},fn{f},{e},no,1,1\n"
            f"{e:x},Call,f{f % 5}.c,{e},fn{f},10,f.c,1,fn{e % functions},1,no,1,1\n"
            for f in range(functions) for e in range(edges)]
    return COLUMNS + "".join(rows)


Flow = collections.namedtuple("Flow", "name arguments inputs target existing runs_of_database")

FLOWS = [
    Flow("new", "-nologo -file a.csv -out x", [("a.csv", False)], "x", False, 0),
    Flow("append", "-nologo -trace 1 -file a.csv -append x", [("a.csv", False)], "x", True, 0),
    Flow("database", "-nologo -trace 1 -file old.db -out x", [("old.db", True)], "x", False, 2),
    Flow("both", "-nologo -file a.csv;old.db -append x -dump -sort C",
         [("a.csv", False), ("old.db", True)], "x", True, 2),
    Flow("dump", "-file a.csv;old.db -dump", [("a.csv", False), ("old.db", True)], None, False, 2),
]

# The errors that each kind of call on a file can have, by SQLite's codes.
FILE_ERRORS = {
    "open": [14, 10],              # can't open, I/O error
    "read": [10 | 1 << 8],         # I/O error
    "write": [10 | 3 << 8, 13],    # I/O error, disk full
    "truncate": [10 | 6 << 8],
    "sync": [10 | 4 << 8],
    "size": [10 | 7 << 8],
    "lock": [5, 10 | 15 << 8],     # busy, I/O error
    "remove": [10 | 10 << 8],
    "access": [10 | 13 << 8],
}

Case = collections.namedtuple("Case", "flow mode source number how code")


def environment(mode, plan, log):
    variables = {"EDGEFOLD_FAULT": plan, "EDGEFOLD_FAULT_LOG": log}
    for name, value in os.environ.items():
        if name != "HOTPATH_DB_MODE":
            variables.setdefault(name, value)
    if mode == "failsafe":
        variables["HOTPATH_DB_MODE"] = "FAILSAFE_MODE"
    return variables


Run = collections.namedtuple("Run", "status out err log rows check")


class Place:
    """A directory with the inputs, in which one process runs its cases."""

    def __init__(self, binary, kind):
        self.binary = binary
        self.kind = kind
        self.directory = tempfile.mkdtemp(prefix="edgefold_sweep_")
        if kind == "files":
            self.write("a.csv", many_edges(6, 60, 0))
            self.write("b.csv", many_edges(4, 60, 30))
        else:
            self.write("a.csv", SMALL)
            self.write("b.csv", OTHER)
        self.write("small.csv", OTHER)
        for name in "old.db", "target.db":
            self.plain(f"-nologo -quiet -file b.csv;b.csv -out {name}")
        with open(self.path("target.db"), "rb") as target:
            self.target = target.read()
        self.clean = {}

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def start(self, arguments, variables):
        done = subprocess.run([self.binary, *arguments.split()], cwd=self.directory, env=variables,
                              capture_output=True, timeout=TIME_LIMIT, check=False)
        out, err = (text.decode(errors="replace") for text in (done.stdout, done.stderr))
        return done.returncode, out, err

    def plain(self, arguments):
        """A run in which nothing fails."""
        return self.start(arguments, environment("default", "tool:0:once", self.path("plain.log")))

    def prepare_target(self, flow):
        for name in "x", "x-journal", "log":
            if os.path.exists(self.path(name)):
                os.remove(self.path(name))
        if flow.existing:
            with open(self.path("x"), "wb") as target:
                target.write(self.target)

    def run(self, case):
        self.prepare_target(case.flow)
        plan = f"{case.source}:{case.number}:{case.how}:{case.code}"
        status, out, err = self.start(case.flow.arguments,
                                      environment(case.mode, plan, self.path("log")))
        rows, check = contents.contents(self.path("x")) if case.flow.target else ("", "ok")
        return Run(status, out, err, Log(self.path("log")), rows, check)

    def clean_run(self, case):
        """The same run without the failure."""
        key = case.flow.name, case.mode, case.source
        if key not in self.clean:
            self.clean[key] = self.run(case._replace(number=0))
        return self.clean[key]

    def remove(self):
        shutil.rmtree(self.directory, ignore_errors=True)


# --- How it has to end ----------------------------------------------------------------------------


def report_without_database(place, case, runs):
    """The report where the input database gave at most its count of runs."""
    _, out, _ = place.plain("-nologo -file a.csv -dump " +
                            ("-sort C" if "-sort" in case.flow.arguments else ""))
    return out.replace("count: 1\n", f"count: {runs}\n", 1)


def expected_report(place, case, wanted, is_database_read):
    """Standard output, or nothing where it isn't known."""
    if "-dump" not in case.flow.arguments or (wanted.status != 0 and case.flow.target is not None):
        return ""
    if wanted.lost_input:
        return None
    if is_database_read:
        return place.clean_run(case).out.replace(
            f"count: {1 + case.flow.runs_of_database}\n", f"count: {wanted.runs}\n", 1)
    return report_without_database(place, case, wanted.runs)


def same_error(wanted, got):
    """Equal texts, but for the source line in front of an assertion, and for names in traces."""
    place = r"hotpath/[a-z_/]+(\.cpp)?:[0-9]+ "
    pattern = re.escape(wanted).replace("ASSERTX", place + "ASSERTX", 1)
    pattern = pattern.replace(re.escape(expectation.ANY), "[^\n]*")
    return re.fullmatch(pattern, got) is not None


def check_end(place, case, run):
    """For failures of SQLite."""
    wanted = expectation.Expectation(case.flow, run.log.events)
    wanted_error = wanted.error
    if "-nologo" not in case.flow.arguments:
        wanted_error = place.clean_run(case).err + wanted_error
    problems = []
    if run.status != wanted.status:
        problems.append(f"status {run.status}, not {wanted.status}")
    if not same_error(wanted_error, run.err):
        problems.append(f"said {run.err!r}, not {wanted_error!r}")
    has_database = any(is_database for _, is_database in case.flow.inputs)
    report = expected_report(place, case, wanted, not has_database or bool(wanted.databases))
    if report is not None and run.out != report:
        problems.append(f"reported {run.out!r}, not {report!r}")
    return problems, wanted


def check_refusals(place, case, run):
    """For memory that the tool was refused: the last refusal decides."""
    clean = place.clean_run(case)
    refusals = [r for r in run.log.refusals if r.effect != "unnoticed"]
    if not refusals:
        same = (run.status, run.out, run.err) == (clean.status, clean.out, clean.err)
        return [] if same else [f"unnoticed, but status {run.status}, said {run.err!r}"]
    effect, size = refusals[-1].effect, refusals[-1].size
    if effect == "absent":
        return check_absent(case, run)
    if effect == "unreadable":
        return check_end_text(run, 0, clean_without_database(place, case, clean))
    last = {"no memory": expectation.NO_MEMORY, "no block": expectation.no_block(size),
            "assertion m_db": expectation.M_DB, "assertion m_impl": expectation.M_IMPL,
            "no stream": None}[effect]
    lines = run.err.splitlines(keepends=True)
    before, end = "".join(lines[:-1]), lines[-1] if lines else ""
    problems = [] if run.status == 1 else [f"status {run.status}, not 1"]
    if last is None:
        if not re.fullmatch(r"error #30072: Out of memory, trying to allocate [0-9]+\.\n", end):
            problems.append(f"said {run.err!r} where a stream can't be made")
    elif not same_error(last, end):
        problems.append(f"said {run.err!r}, not {last!r}")
    if not clean.err.startswith(before):
        problems.append(f"said {run.err!r}")
    if not clean.out.startswith(run.out):
        problems.append(f"reported {run.out!r}")
    return problems


def clean_without_database(place, case, clean):
    """Both streams of a run whose input database can't be read."""
    count = len(case.flow.inputs) - 1
    logo = clean.err if "-nologo" not in case.flow.arguments else ""
    err = logo + expectation.unreadable("old.db")
    if case.flow.target is not None:
        err += expectation.merged(count)
    out = report_without_database(place, case, 1) if "-dump" in case.flow.arguments else ""
    return out, err


def check_end_text(run, status, streams):
    out, err = streams
    if (run.status, run.out, run.err) == (status, out, err):
        return []
    return [f"status {run.status}, said {run.err!r}, reported {run.out!r}"]


def check_absent(case, run):
    """The copy of an argument is missing: the options end there, or their value is missing."""
    words = ["edgefold", *case.flow.arguments.split()]
    absent = case.number - 2  # the first block is for the list
    if case.how == "always" or absent < 0 or absent >= len(words):
        return [f"argument {absent}: said {run.err!r}"]
    if absent == 0:
        return [] if run.status == 0 else [f"status {run.status}"]
    option = words[absent - 1].lstrip("-")
    if option in ("file", "out", "append", "sort", "trace") and not words[absent].startswith("-"):
        wanted = f"error #32501: missing or unexpected option value for '/{option}'\n"
        said = run.err.startswith(wanted)
    elif "-file" not in words[:absent]:
        said = run.err.endswith("error #30097: No input files specified. Use -file option.\n")
    elif "-out" in words[:absent] or "-append" in words[:absent]:
        return [] if run.status == 0 else [f"status {run.status}, said {run.err!r}"]
    else:
        said = run.err.endswith("error #30098: No action specified, Use -out, -append or -dump.\n")
    return [] if said and run.status == 1 else [f"argument {absent}: said {run.err!r}"]


def check_rows(place, case, run, target_events):
    """What stands in the target is what SQLite took and committed, row for row."""
    if case.flow.target is None:
        return []
    problems = [] if run.check == "ok" else [f"the database is damaged: {run.check}"]
    replay = contents.Replay(place.target if case.flow.existing else None, target_events)
    if run.rows != replay.rows:
        problems.append("the database holds other rows than SQLite took")
    return problems + replay.problems


def check_writes(place, case, run, target_events):
    """For runs that read all: what is written is what is always written, to the end of the run."""
    clean_log = place.clean_run(case).log
    usual = contents.writes(clean_log.events_of(clean_log.target_connection()))
    tried = contents.writes(target_events)
    if tried != (usual if run.status == 0 else usual[:len(tried)]):
        return ["other rows were written than without the failure"]
    return []


def check_later_runs(place, case):
    """Whatever stands there now, the tool copes with it."""
    problems = []
    for arguments in "-nologo -file x -dump", "-nologo -file small.csv -append x":
        status, _, err = place.plain(arguments)
        known = re.fullmatch(r"(?:(?:error|warning|remark) #30[0-9]{3}: [^\n]+\n)*", err)
        if status not in (0, 1) or known is None:
            problems.append(f"later, {arguments}: status {status}, said {err!r}")
    return problems


def may_damage(case):
    """Without a journal file, a page that didn't reach the file is lost for good."""
    return case.mode == "default" and case.source in ("write", "sync", "truncate")


def problems_of(place, case):
    place.clean_run(case)
    try:
        run = place.run(case)
    except subprocess.TimeoutExpired:
        return ["doesn't end"], []
    if run.status not in (0, 1):
        return [f"status {run.status}, said {run.err!r}"], []
    if not run.log.failures:
        return ["nothing failed"], []
    try:
        if case.source == "tool":
            problems = check_refusals(place, case, run)
            unnoticed = [r.reason for r in run.log.refusals if r.effect == "unnoticed"]
            effects = {r.effect for r in run.log.refusals}
            target = run.log.events_of(run.log.target_connection())
            reads_all = not effects & {"unreadable", "absent"}
            loses_rows = not reads_all
        else:
            problems, wanted = check_end(place, case, run)
            unnoticed = wanted.unnoticed
            target = wanted.target_events
            reads_all = wanted.reads_all()
            loses_rows = bool(unnoticed)
    except Unexplained as error:
        return [str(error)], []
    if reads_all:
        problems += check_writes(place, case, run, target)
    if reads_all and run.status == 0 and not loses_rows and run.rows != place.clean_run(case).rows:
        problems.append("nothing was lost, but the database isn't what it is without the failure")
    if not may_damage(case):
        problems += check_rows(place, case, run, target)
    else:
        problems += check_later_runs(place, case)
    return problems, unnoticed


# --- The sweep ------------------------------------------------------------------------------------


def modes_of(flow):
    """The mode is of a database that is written."""
    return ["default"] if flow.target is None else ["default", "failsafe"]


def cases_of(place, kind, stride, offset):
    """All calls that fail, each once and from then on."""
    sources = [(kind, [0])] if kind != "files" else list(FILE_ERRORS.items())
    for flow, (source, codes) in itertools.product(FLOWS, sources):
        for mode in modes_of(flow):
            count = place.clean_run(Case(flow, mode, source, 0, "once", 0)).log.counts[source]
            # Each kind of call fails somewhere, however wide the stride is.
            first = 1 + offset % min(stride, max(count, 1))
            for number in range(first, count + 1, stride):
                for how, code in itertools.product(("once", "always"), codes):
                    yield Case(flow, mode, source, number, how, code)


def cases_by_place(place, kind):
    """For each place in the program the first call from there, in one of the modes."""
    seen = set()
    for flow in FLOWS:
        # Half of the places in the default mode, the others in the last mode; then what is left,
        # since the modes haven't all places in common.
        passes = [("default", 2), (modes_of(flow)[-1], 1), ("default", 1)]
        for mode, part in passes:
            places = place.run(Case(flow, mode, kind, 0, "places", 0)).log.places
            for name, number in places.items():
                if name in seen or int(name, 16) % part != 0:
                    continue
                seen.add(name)
                for how in "once", "always":
                    yield Case(flow, mode, kind, number, how, 0)


WORKER = {}


def start_worker(binary, kind):
    WORKER["place"] = Place(binary, kind)


def check_case(case):
    return case, *problems_of(WORKER["place"], case)


def sweep(binary, kind, options):
    began = time.monotonic()
    place = Place(binary, kind)
    if options.places and kind != "files":
        cases = list(cases_by_place(place, kind))[options.offset % options.stride::options.stride]
    else:
        cases = list(cases_of(place, kind, options.stride, options.offset))
    failed = 0
    unnoticed = collections.Counter()
    with multiprocessing.Pool(options.jobs, start_worker, (binary, kind)) as pool:
        for case, problems, unreported in pool.imap_unordered(check_case, cases, chunksize=16):
            unnoticed.update(set(unreported))
            if not problems:
                continue
            failed += 1
            if failed <= options.show:
                print(f"{case.flow.name}, {case.mode}, {case.source}:{case.number}:{case.how}:"
                      f"{case.code}: " + "; ".join(text[:600] for text in problems))
    place.remove()
    print(f"{kind}: {len(cases)} runs, {failed} not as expected, "
          f"{time.monotonic() - began:.1f} s")
    if options.verbose:
        for reason, count in unnoticed.most_common():
            print(f"    unnoticed in {count} runs: {reason}")
    return failed == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True)
    parser.add_argument("--sources", default="tool,sqlite,files")
    parser.add_argument("--places", action="store_true")
    parser.add_argument("--stride", type=int, default=1)
    parser.add_argument("--offset", type=int, default=0)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--show", type=int, default=20, help="failures that are printed")
    parser.add_argument("--verbose", action="store_true", help="print what passed unnoticed")
    options = parser.parse_args()
    binary = os.path.abspath(options.binary)
    results = [sweep(binary, kind, options) for kind in options.sources.split(",")]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
