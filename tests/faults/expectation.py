"""What a run has to say and to leave, as it follows from the failures in its log.

Two tables hold the knowledge: whom a failed call of SQLite reaches, and who was refused memory.
Where a failure goes unnoticed the table says why; a failure that no row knows fails the test.
"""

import re

# --- The texts of a run's end ---------------------------------------------------------------------

INTERNAL_ERROR = "error #30100: Internal error.\n"
NO_MEMORY = "catastrophic error: out of memory\n"
BIND_FAILURE = "ASSERTX(rc == 0): Internal error: Failed to bind data to stmt\n"


def cannot_open(path):
    return f"error #30001: Failed to open {path} for writing.\n"


def incompatible(path):
    return (f"error #30096: File, {path}, already exists, but is not compatible with this version. "
            "Delete and regenerate.\n")


def unreadable(path):
    return f"warning #30095: Unable to read hardware sampling data from '{path}'\n"


def merged(count):
    return f"remark #30101: Merged {count} files to output file.\n"


def no_block(size):
    return f"error #30072: Out of memory, trying to allocate {size}.\n"


# --- Failures of SQLite ---------------------------------------------------------------------------
#
# Kind of call (see recorded_sqlite.cpp), beginning of its text, what follows from its failure, why.

VERSION = [
    ("P", "SELECT * FROM sf_version", "no version", "without its statement there is no value"),
    ("S", "SELECT * FROM sf_version", "no version", "a step without a row gives no value"),
    ("N", "SELECT * FROM sf_version", "no version", "no text, no value"),
]


def preparation(effect):
    texts = ["SELECT * FROM sf_filenames WHERE", "SELECT * FROM sf_functions WHERE",
             "SELECT * FROM sf_edges WHERE", "DELETE FROM sf_edges WHERE",
             "SELECT * FROM sf_calls WHERE", "DELETE FROM sf_calls WHERE",
             "INSERT INTO  sf_filenames", "INSERT INTO  sf_edges", "INSERT INTO  sf_calls",
             "UPDATE sf_functions"]
    return [("P", text, effect, "the statements are prepared at the opening") for text in texts] + [
        ("P", "INSERT INTO  sf_functions", "unnoticed",
         "the one preparation that isn't looked at: it shows at the first bind"),
    ]


NO_MORE_ROWS = "looks like the end of the rows"
NO_CALLEE = "a call without a callee is skipped"
LOST_READS = (NO_MORE_ROWS, NO_CALLEE)


def load(effect):
    return [
        ("P", "SELECT * FROM sf_run_info", "unnoticed", "no run count adds nothing"),
        ("S", "SELECT * FROM sf_run_info", "unnoticed", "no run count adds nothing"),
        ("N", "SELECT * FROM sf_run_info", "unnoticed", "no run count adds nothing"),
        ("P", "SELECT MAX(sf_id) FROM sf_filenames", effect, "the file table can't be read"),
        ("S", "SELECT MAX(sf_id) FROM sf_filenames", effect, "the file table can't be read"),
        ("X", "SELECT * FROM sf_filenames", effect, "the file table can't be read"),
        ("X", "SELECT * FROM sf_functions", effect, "the function table can't be read"),
        ("P", "SELECT sf_id FROM sf_functions", "unnoticed", "a read lock for speed alone"),
        ("S", "SELECT sf_id FROM sf_functions", "unnoticed", "a read lock for speed alone"),
        ("S", "SELECT * FROM sf_edges", "unnoticed", NO_MORE_ROWS),
        ("S", "SELECT * FROM sf_calls", "unnoticed", NO_MORE_ROWS),
        ("N", "SELECT * FROM sf_calls", "unnoticed", NO_CALLEE),
        ("B", "", "assertion", "a failed bind ends the program"),
    ]


INPUT_RULES = VERSION + preparation("unreadable") + load("unreadable")

TARGET_RULES = VERSION + preparation("internal") + load("internal") + [
    ("P", "BEGIN TRANSACTION", "internal", "belongs to the opening"),
    ("P", "END TRANSACTION", "internal", "belongs to the opening"),
    ("X", "CREATE ", "internal", "the schema can't be made"),
    ("X", "INSERT INTO sf_version", "unnoticed",
     "not looked at: the next run finds the file incompatible"),
    ("X", "PRAGMA synchronous", "unnoticed", "not looked at: the file waits for the disk"),
    ("X", "PRAGMA journal_mode", "unnoticed", "not looked at: the journal is a file"),
    ("X", "DELETE FROM sf_run_info", "unnoticed", "not looked at: the old count stays"),
    ("X", "INSERT INTO sf_run_info", "unnoticed", "not looked at: the count is lost"),
    ("S", "BEGIN TRANSACTION", "unnoticed", "not looked at: each row commits by itself"),
    ("S", "END TRANSACTION", "unnoticed", "not looked at: what wasn't committed is lost"),
    ("X", "PRAGMA encoding", "unnoticed", "rows are searched for, not remembered"),
    ("X", "PRAGMA data_version", "unnoticed", "rows are searched for, not remembered"),
    ("X", "SELECT ", "unnoticed", "rows are searched for, not remembered"),
    ("S", "SELECT * FROM sf_filenames", "unnoticed", "like a file that isn't there: it is added"),
    ("S", "INSERT INTO  sf_filenames", "merge failed", "a function without its file"),
    ("S", "INSERT INTO  sf_functions", "unnoticed", "shows where the new row is searched for"),
    ("S", "SELECT * FROM sf_functions", "merge failed", "the new row isn't found"),
    ("S", "INSERT INTO  sf_edges", "merge failed", "a function without all of its edges"),
    ("S", "DELETE FROM sf_edges", "merge failed", "the old rows stay"),
    ("S", "DELETE FROM sf_calls", "merge failed", "the old rows stay"),
    ("S", "UPDATE sf_functions", "merge failed", "the old count stays"),
    ("S", "INSERT INTO  sf_calls", "unnoticed", "not looked at: the call is lost"),
]

# --- What `-trace 1` says of them -----------------------------------------------------------------

ANY = "\0"  # stands for any text in a line

NO_SCHEMA = "SampleDB::open_writable(x): Error while creating schema\n"
NO_VERSION = "SampleDB::open_writable(x): Error due to incompatible schema\n"
NOT_INSERTED = "Error while inserting function.\n"
NOT_UPDATED = "Error while updating function.\n"

CREATION_TRACES = {
    "CREATE TABLE sf_version": "Failed to create version info table\n",
    "CREATE TABLE sf_run_info": "Failed to create run info table\n",
    "CREATE TABLE sf_filenames": "Failed to create filenames table\n",
    "CREATE TABLE sf_functions": "Failed to create functions table\n",
    "CREATE TABLE sf_edges": "Failed to create edges table\n",
    "CREATE TABLE sf_calls": "Failed to create calls table\n",
    "CREATE INDEX idx1": "Failed to create 'edges' index on 'func_id'.\n",
    "CREATE INDEX idx2": "Failed to create 'calls' index on 'func_id'.\n",
}

# Beginnings of the texts that are prepared, and executed, without a word about their failure.
SILENT = {
    "P": ("SELECT * FROM sf_version", "SELECT * FROM sf_run_info", "SELECT MAX(", "SELECT sf_id "),
    "X": ("PRAGMA encoding", "PRAGMA data_version", "SELECT "),
}


def trace_of(event):
    """The lines about one failed call, without those about what follows from it."""
    if event.kind == "P" and not event.sql.startswith(SILENT["P"]):
        return f"FAILED in: init_sql_statement: {event.sql}\n"
    if event.kind == "N" and event.sql.startswith("SELECT * FROM sf_calls"):
        return ("Corrupted DB: Callee name missing for function. "
                f"func_id = {event.sql.rpartition('=')[2]}\n")
    if event.kind != "X":
        return ""
    if event.sql == "SELECT * FROM sf_filenames":
        return f"SampleDB::load_filenames_table: SQL error: {event.error or '<UNKNOWN>'}\n"
    if event.sql == "SELECT * FROM sf_functions":
        return f"SampleDB::read_function_records: SQL error : {event.error or '<UNKNOWN>'}\n"
    if event.sql.startswith(SILENT["X"]) or not event.error:
        return ""
    lines = f"SQL error: {event.error}\n"
    for beginning, line in CREATION_TRACES.items():
        if event.sql.startswith(beginning + " "):
            lines += line + NO_SCHEMA
    return lines


def trace_of_merge_failure(event, is_update):
    """The lines about the function that didn't go in."""
    name = f"SampleDB::insert_function_record: {ANY}({ANY})"
    if "sf_filenames" in event.sql:
        return name + "Inserting filename failed\n" + NOT_INSERTED
    if event.sql.startswith("SELECT * FROM sf_functions"):
        return name + ": Inserting function failed\n" + NOT_INSERTED
    return NOT_UPDATED if is_update else NOT_INSERTED


NEEDS_ROW = ("SELECT * FROM sf_version", "SELECT MAX(", "SELECT * FROM sf_functions")

# How a file was opened: the flags of SQLite for access and creation.
ACCESS = 7
OPENED_FOR_READING = 1
OPENED_WITH_CREATION = 6


class Event:
    """One call of SQLite."""

    def __init__(self, line):
        self.kind, connection, *fields = line.split("\t")
        self.connection = int(connection)
        self.code = int(fields[0]) if self.kind in "OPSXB" else 0
        self.flags = int(fields[1]) & ACCESS if self.kind == "O" else 0
        self.autocommit = self.kind not in "PSX" or fields[1] == "1"
        self.error = fields[2] if self.kind == "X" else ""
        self.sql = fields[-1] if self.kind in "PSXBN" else ""

    def failed(self):
        if self.kind == "S":
            return self.code not in ((100,) if self.sql.startswith(NEEDS_ROW) else (100, 101))
        return self.kind in "BN" or self.code != 0

    def __str__(self):
        return f"{self.kind} {self.code} {self.sql[:60]}"


class Unexplained(Exception):
    """A failure that no row of the tables knows, or a run that went on after its end."""


def effect_of(event, rules):
    for kind, text, effect, reason in rules:
        if event.kind != kind or not event.sql.startswith(text):
            continue
        if kind == "X" and effect == "internal" and text == "CREATE " and not event.error:
            return "unnoticed", "a failure for which SQLite has no text counts as success"
        return effect, reason
    raise Unexplained(f"no rule for {event}")


def found_after_insert(event, before):
    """False for a search that doesn't find the file row that was just added."""
    return not (event.kind == "S" and event.sql.startswith("SELECT * FROM sf_filenames")
                and event.code != 100 and before is not None
                and before.sql.startswith("INSERT INTO  sf_filenames"))


class Verdict:
    """How the use of one connection ended: `effect`, what `-trace 1` says, the failures that
    nobody noticed, and whether the run count was read."""

    def __init__(self, events, rules):
        self.effect = "done"
        self.trace = ""
        self.unnoticed = []
        self.read_runs = self.finds_runs(events)
        self.is_update = False
        before = None
        for place, event in enumerate(events):
            if event.kind in "OC":
                continue
            self.judge(event, before, rules, events[place + 1:])
            before = event
        self.check_transaction(events)
        if self.effect == "no version" and rules is TARGET_RULES:
            self.trace += NO_VERSION
        if self.effect == "merge failed":
            self.effect = "internal"

    @staticmethod
    def finds_runs(events):
        about_runs = [e for e in events if e.sql.startswith("SELECT * FROM sf_run_info")]
        return (any(e.kind == "S" and e.code == 100 for e in about_runs)
                and not any(e.kind == "N" for e in about_runs))

    def judge(self, event, before, rules, rest):
        starts = ("DELETE FROM sf_", "INSERT INTO  sf_functions")
        if event.kind == "S" and event.sql.startswith(starts):
            self.is_update = event.sql.startswith("DELETE")
        effect, reason = "done", ""
        if not found_after_insert(event, before):
            effect = "merge failed"
        elif event.failed():
            effect, reason = effect_of(event, rules)
            self.trace += trace_of(event)
        if effect == "merge failed":
            self.trace += trace_of_merge_failure(event, self.is_update)
        if effect == "unnoticed":
            self.unnoticed.append(reason)
        elif effect != "done" and self.effect == "done":
            self.effect = effect
            self.check_rest(rest)

    def check_transaction(self, events):
        """A transaction comes to its end, also after a failure."""
        texts = [event.sql for event in events if event.kind == "S"]
        if (self.effect in ("done", "merge failed") and "BEGIN TRANSACTION" in texts
                and texts.count("END TRANSACTION") != 1):
            raise Unexplained("the transaction wasn't ended")

    def check_rest(self, rest):
        """Nothing goes on after a failure but what ends it."""
        for event in rest:
            goes_on = {"no version": event.sql.startswith("SELECT * FROM sf_version"),
                       "merge failed": event.sql == "END TRANSACTION"}.get(self.effect, False)
            if event.kind != "C" and not goes_on:
                raise Unexplained(f"after '{self.effect}' the run went on: {event}")


class Expectation:
    """Status and standard error of a run, and what of the inputs was read."""

    def __init__(self, flow, events):
        self.flow = flow
        self.status = 0
        self.error = ""
        self.unnoticed = []
        self.runs = 0
        self.lost_input = False
        self.databases = []
        self.target_events = []
        by_connection = {}
        for event in events:
            by_connection.setdefault(event.connection, []).append(event)
        self.opened = [by_connection[number] for number in sorted(by_connection)]
        self.follow()

    def follow(self):
        count = 0
        for path, is_database in self.flow.inputs:
            if not is_database:
                count += 1
                self.runs += 1
            elif self.input_is_read(path):
                count += 1
            if self.status != 0:
                return
        if self.flow.target is None:
            return
        if count != 0:
            self.follow_target(self.flow.target)
        if self.status == 0:
            self.error += merged(count)

    def input_is_read(self, path):
        events = self.opened.pop(0)
        if events[0].flags != OPENED_FOR_READING:
            raise Unexplained("an input was opened for writing")
        verdict = Verdict(events, INPUT_RULES)
        effect = "unreadable" if events[0].code != 0 else verdict.effect
        self.add_trace(verdict)
        self.unnoticed += verdict.unnoticed
        if verdict.read_runs and effect != "no version":
            self.runs += self.flow.runs_of_database
        self.lost_input |= effect == "done" and bool(verdict.unnoticed)
        if effect == "assertion":
            self.fail(BIND_FAILURE)
        elif effect != "done":
            self.error += unreadable(path)
        else:
            self.databases.append(path)
        return effect == "done"

    def follow_target(self, path):
        events = self.opened.pop(0)
        if events[0].code != 0:  # opened again, so that it is created
            events = self.opened.pop(0)
            if events[0].flags != OPENED_WITH_CREATION:
                raise Unexplained("the target wasn't opened for its creation")
            if events[0].code != 0:
                self.fail(cannot_open(path))
                return
        self.target_events = events
        verdict = Verdict(events, TARGET_RULES)
        self.add_trace(verdict)
        self.unnoticed += verdict.unnoticed
        text = {"done": "", "no version": incompatible(path), "internal": INTERNAL_ERROR,
                "assertion": BIND_FAILURE}[verdict.effect]
        if text:
            self.fail(text)

    def reads_all(self):
        """True if all inputs and what was needed of the target were read."""
        databases = [path for path, is_database in self.flow.inputs if is_database]
        return self.databases == databases and not any(
            reason in LOST_READS for reason in self.unnoticed)

    def add_trace(self, verdict):
        if "-trace 1" in self.flow.arguments:
            self.error += verdict.trace

    def fail(self, text):
        self.status = 1
        self.error += text


# --- Memory that the tool was refused -------------------------------------------------------------
#
# A function on the stack of the refused call, what follows, why. The first row that fits counts.

MEMORY_RULES = [
    (r"_ZN4diag\d+(report_|print_message|message_text)", "no memory",
     "the reporter can't report by itself"),
    (r"_ZN4diag\d+checked_(malloc|realloc)|_Znwm$|_Znam$", "no block", "ends the program"),
    (r"_ZN7hotpath13SqlConnection4open", "assertion m_db", "ends the program"),
    (r"_ZN7hotpath12RegexMatcher7compile", "assertion m_impl", "ends the program"),
    (r"_ZN7hotpath14BacktrackStack4grow", "unnoticed", "the push is dropped, the match goes on"),
    (r"_ZN7hotpath14open_db_reader", "unreadable", "an input database that can't be made"),
    (r"_ZN4tool14copy_arguments", "absent", "an argument without its copy is absent"),
    (r"_ZN4tool15read_package_id", "unnoticed", "no package file, so the version is the default"),
    (r"_IO_file_doallocate", "unnoticed", "the C library goes on with a stream of no buffer"),
    (r"_ZN7hotpath16open_edge_reader", "no stream", "ends the program"),
]

M_DB = "ASSERTX(m_db): Memory allocation failed\n"
M_IMPL = "ASSERTX(m_impl != ((uintptr_t)0)): Memory allocation failed\n"


class Refusal:
    """Memory that was refused: how much, and what follows from it."""

    def __init__(self, size):
        self.size = size
        self.callers = []

    def rule(self):
        for pattern, effect, reason in MEMORY_RULES:
            if any(re.match(pattern, caller) for caller in self.callers):
                return effect, reason
        raise Unexplained("refused to " + " < ".join(self.callers))

    effect = property(lambda self: self.rule()[0])
    reason = property(lambda self: self.rule()[1])


# --- The log --------------------------------------------------------------------------------------


class Log:
    """What happened in one run."""

    def __init__(self, path):
        self.events, self.refusals, self.counts, self.failures = [], [], {}, []
        self.places = {}  # the first call from each place in the program
        with open(path, encoding="utf-8", errors="surrogateescape") as lines:
            for line in lines:
                self.take(line.rstrip("\n"))

    def take(self, line):
        kind, _, rest = line.partition("\t")
        if kind == "T":
            source, count = rest.split("\t")
            self.counts[source] = int(count)
        elif kind == "A":
            number, place = rest.split("\t")
            self.places.setdefault(place, int(number))
        elif kind == "F":
            source, value = rest.split("\t")
            self.failures.append(source)
            if source == "tool":
                self.refusals.append(Refusal(int(value)))
        elif kind == "W":
            self.refusals[-1].callers.append(rest)
        else:
            self.events.append(Event(line))

    def events_of(self, connection):
        return [event for event in self.events if event.connection == connection]

    def target_connection(self):
        """The number of the connection to the target that came to be opened, or -1."""
        opened = [e.connection for e in self.events
                  if e.kind == "O" and e.flags != OPENED_FOR_READING and e.code == 0]
        return opened[-1] if opened else -1
