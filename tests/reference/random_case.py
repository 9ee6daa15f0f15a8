#!/usr/bin/env python3
"""Random small cases for the comparison of the program with edge_model.py.

make_case(seed) gives the whole case up front, so that a case depends on its seed alone: the files
that stand in the directory at the start, and the steps. A step is a command line to run, or damage
done with SQL to a database that an earlier command line wrote. Values come from small pools, so
that names, addresses and positions meet; every pool also holds the odd ones.

    python3 random_case.py SEED     prints the case
"""

import random
import sys

REQUIRED = [b"FromAddress", b"TypeOfBranch", b"FromSourceFile", b"FromSourceLine",
            b"FromFunctionMangled", b"DestinationEndOfBlockAddress", b"DestinationSourceFile",
            b"DestinationSourceLine", b"DestinationFunctionMangled", b"HitCount"]
PAIRS = [(b"FromSourceOffsetLine", b"DestinationSourceOffsetLine"),
         (b"FromSourceColumn", b"DestinationSourceColumn"),
         (b"FromSourceDiscriminator", b"DestinationSourceDiscriminator")]
LONE = [b"EntryBlock", b"DestinationAddress"]
UNKNOWN = [b"Module", b"fromaddress", b"HitCount ", b"", b"Hit\0Count", b"\xc3\xa9"]

PLAIN_NAMES = [b"main", b"foo", b"bar", b"baz", b"_Z3foov"]
ODD_NAMES = [
    b"foo.123", b"foo.a.12", b"foo.a.123.bar", b"foo..12", b"foo.", b".foo", b"foo.1.2", b"foo.b",
    b"L_main_23__par_region0_2.1", b"L_foo_bar_104__par_loop2_2.17", b"L_foo_1__par_loop0_2.5.7",
    b"xxL_bar_9__par_section1_2.3yy", b"L__23__par_region0_2.1", b"L_main_1__par_unknown0_2.1",
    b"L_a_1_2__par_taskq3_2.4", b"L_L_foo_2__par_crewloop1_2.1", b"L_foo_1__par_loop_2.1",
    b"L_main_1__par_region0_2.", b"L_L_bar_3__par_loop1_2x_4__par_region0_2.0",
    b"__N_10_src_main_c_Helper", b"a__N_3_xyzb__N_1_qc", b"a__N_", b"a__N_9_xy", b"f__N_-1_x",
    b"f__N_4294967297_xyz", b"f__N__x", b"__N_2_ab__N_", b"f__N_ +1_xy", b"f__N_1x_yz",
    b"L_g__N_1_qh_7__par_region0_2.1", b"__N_4_a.b.cd", b"n__N_0_m", b"NA", b"na", b"", b" ",
    b"foo\0x", b"foo\0", b"\0", b"NA\0z", b"f\xff\xfe", b"\xc3\xa9", b"it's", b"%s%d", b"f/A.C",
    b"f", b"F", b"a/B", b"foo_", b"a\tb", b"a\rb", b'"q"', b"f" * 600]
FILES = [b"a.c", b"A.C", b"b.c", b"B.c"]
ODD_FILES = [
    b"", b"src/a.c", b"C:\\x\\b.c", b"A.C/f", b"C", b"B/C", b"\xc3\xa9.c", b"a.c\0z", b"\0",
    b"x'y.c", b"%n", b" a.c", b"a.c\r", b"\xff"]
BRACKETED = [b"[a,b]", b"[foo<a,b>]", b"[", b"[]", b"[a]b", b"[a,b]y", b"[1,2]", b"[a]]", b"[x,[y]"]
BRANCHES = [b"Call", b"IndCall", b"Jump", b"IndJump", b"Ret"]
ODD_BRANCHES = [b"", b"call", b"Call ", b"Call\0", b"RET", b"Cond", b"Ret\r", b"NA"]
ENTRY_MARKS = [b"yes", b"no", b"yes", b"Yes", b"", b"yes\0", b" yes"]
ADDRESSES = [b"10", b"14", b"0x10", b"1a0", b"1A0", b"20", b"24"]
ODD_ADDRESSES = [
    b"0", b"", b"0x", b"-1", b"-10", b" 10", b"\t\v+14", b"g", b"10 h", b"0x0x10", b"--1",
    b"ffffffffffffffff", b"8000000000000000", b"10000000000000010", b"-0x8000000000000001",
    b"fffffffffffffffffffff", b"-fffffffffffffffffffff", b"1\x000", b"0X14", b"0xg", b"x10"]
LINES = [b"1", b"2", b"3", b"4"]
ODD_LINES = [
    b"0", b"-1", b"4294967295", b"4294967296", b"4294967297", b"99999999999999999999",
    b"-99999999999999999999", b"9223372036854775807", b"-9223372036854775808", b" 3", b"+4", b"-2",
    b"0x9", b"", b"abc", b"1.5", b"2147483648", b"2147483647", b"- 1", b"2\x003", b"123456789",
    b"\f1", b"007"]
SMALL = [b"0", b"0", b"1", b"2", b"5"]
ODD_SMALL = [b"65535", b"65536", b"65537", b"-1", b"131072", b"", b"x", b"32768", b"4294967296"]
COUNTS = [b"1", b"3", b"7", b"10", b"100", b"1234", b"999999"]
ODD_COUNTS = [
    b"0", b"", b"x", b"-5", b"-0.5", b"12.9", b"1e3", b"1e", b"1e+", b"1e-1", b".5", b"5.", b".",
    b"+7", b" 8", b"16777217", b"16777219", b"33554433", b"0.99999998",
    b"0.9999999701976776123046875", b"0.9999999701976776123046874",
    b"0.99999997019767761230468750000000000000000000001", b"9223372036854775807",
    b"9223372036854775808", b"18446744073709551615", b"18446743523953737727",
    b"18446744073709551616", b"1e19", b"1.8e19", b"1e20", b"1e38", b"1e39", b"1e-50",
    b"1e99999999999", b"-1e19", b"-1e30", b"-9223372036854775808", b"2147483648", b"4294967296",
    b"4294967295", b"0x10", b"0x1p4", b"0x.8p3", b"0x1.8", b"0x", b"0xp3", b"0x1p", b"-0x3",
    b"0x1000001p0", b"inf", b"-inf", b"INFINITY", b"infinit", b"nan", b"-nan", b"nan(12",
    b"nan(a_1)", b"NaN()", b"1,5", b"1 2", b"3\x004", b"1e2.5", b"00012", b"1e0x1", b"2147483648.5",
    b"1_000"]

LIST_ODDITIES = [b"", b";", b";;", b"'", b'"', b'""', b"\\"]
SORTS = [
    b"A", b"A-", b"C", b"C-", b"L", b"L-", b"a", b"c-", b"l-", b"X", b"X-", b"", b"A+", b"C-x",
    b"Ax-", b"'"]
TRACES = [
    b"1", b"2", b"3", b"4", b"8", b"15", b"13", b"0x9", b"017", b"3x", b"abc", b"", b"16",
    b"0xFFFFFFFF", b"99999999999", b" 4", b" -1", b"+5", b"08", b"0b11"]


class Dice:
    """A seeded generator with the few questions that the case maker asks."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def one_in(self, n):
        return self.random.randrange(n) == 0

    def pick(self, pool):
        return pool[self.random.randrange(len(pool))]

    def mixed(self, plain, odd, odd_one_in):
        return self.pick(odd) if self.one_in(odd_one_in) else self.pick(plain)

    def number(self, low, high):
        return self.random.randint(low, high)

    def some_of(self, pool, one_in=2):
        return [item for item in pool if self.one_in(one_in)]

    def shuffled(self, items):
        items = list(items)
        self.random.shuffle(items)
        return items


# --- Edge files ---------------------------------------------------------------------------------


class EdgeFileMaker:
    """Writes one edge file: how odd it is in each respect is decided once per file."""

    def __init__(self, dice):
        self.dice = dice
        self.odd_one_in = dice.pick([3, 8, 8, 20, 1000000])
        self.names = [self.make_name() for _ in range(dice.number(1, 5))]
        self.files = [dice.mixed(FILES, ODD_FILES, 5) for _ in range(dice.number(1, 3))]

    def make_name(self):
        dice = self.dice
        if dice.one_in(12):
            return self.compose_name()
        return dice.mixed(PLAIN_NAMES, ODD_NAMES, 3)

    def compose_name(self):
        pieces = [b"L_", b"main", b"f", b"_", b"1", b"23", b"__par_", b"loop", b"region",
                  b"crewloop",
                  b"taskq", b"section", b"0", b"_2.", b"7", b".", b"a", b"__N_", b"3_", b"__N_2_ab",
                  b"_4__par_loop1_2.5", b"..", b"\xe9", b"."]
        return b"".join(self.dice.pick(pieces) for _ in range(self.dice.number(1, 10)))

    def random_count(self):
        dice = self.dice
        if dice.one_in(3):
            # Near the middle between two floats.
            middle = (2 * dice.number(1 << 22, (1 << 24) - 1) + 1) << dice.number(0, 38)
            if dice.one_in(2):
                middle += dice.number(-1, 1)
            text = b"%d" % middle
            return text + dice.pick([b"", b".", b".000000000000000000000000000001", b".9", b"e0"])
        if dice.one_in(2):
            return b"%d" % dice.number(0, 1 << dice.number(1, 66))
        return b"%d.%de%d" % (dice.number(0, 99), dice.number(0, 9999999), dice.number(-9, 22))

    def value(self, column):
        dice = self.dice
        odd = self.odd_one_in
        if dice.one_in(odd * 12):
            return dice.pick(BRACKETED)
        if column in (b"FromAddress", b"DestinationEndOfBlockAddress", b"DestinationAddress"):
            return dice.mixed(ADDRESSES, ODD_ADDRESSES, odd)
        if column == b"TypeOfBranch":
            return dice.mixed(BRANCHES, ODD_BRANCHES, odd)
        if column == b"EntryBlock":
            return dice.pick(ENTRY_MARKS)
        if column in (b"FromSourceFile", b"DestinationSourceFile"):
            return dice.mixed(self.files, FILES + ODD_FILES, odd)
        if column in (b"FromFunctionMangled", b"DestinationFunctionMangled"):
            return dice.mixed(self.names, PLAIN_NAMES + ODD_NAMES, odd)
        if column == b"HitCount":
            if dice.one_in(odd):
                return self.random_count()
            return dice.mixed(COUNTS, ODD_COUNTS, odd)
        if column in (b"FromSourceLine", b"DestinationSourceLine"):
            return dice.mixed(LINES, ODD_LINES, odd)
        if column in UNKNOWN:
            return dice.mixed([b"u", b"", b"7"], BRACKETED, odd * 3)
        return dice.mixed(SMALL, ODD_SMALL + ODD_LINES, odd)

    def columns(self):
        dice = self.dice
        columns = list(REQUIRED)
        for pair in PAIRS:
            if dice.one_in(2):
                columns.extend(pair)
            elif dice.one_in(4):
                columns.append(dice.pick(pair))
        columns.extend(dice.some_of(LONE))
        if dice.one_in(3):
            columns.extend(dice.some_of(UNKNOWN, 3))
        if dice.one_in(40):
            columns.append(b"[x")
        if dice.one_in(5):
            columns.append(dice.pick(columns))
        if dice.one_in(25):
            columns.remove(dice.pick(REQUIRED))
        if not dice.one_in(4):
            columns = dice.shuffled(columns)
        return columns

    def row(self, columns):
        dice = self.dice
        values = {column: self.value(column) for column in columns}
        if dice.one_in(2) and b"FromFunctionMangled" in values:
            values[b"DestinationFunctionMangled"] = values[b"FromFunctionMangled"]
            values[b"DestinationSourceFile"] = values.get(b"FromSourceFile", b"")
        fields = [values[column] for column in columns]
        if dice.one_in(self.odd_one_in * 3):
            fields = self.bend(fields)
        return b",".join(fields)

    def bend(self, fields):
        dice = self.dice
        kind = dice.number(0, 7)
        if kind == 0:
            return fields[:dice.number(0, len(fields))]
        if kind == 7:
            return fields[:-2] + [dice.pick(BRACKETED)]
        if kind == 1:
            return fields + [dice.pick([b"", b"more", b"[a,b"])]
        if kind == 2:
            return [b""] * dice.number(1, 2) + fields
        if kind == 3:
            return []
        if kind == 4:
            return [b""] * dice.number(1, 12)
        at = dice.number(0, len(fields))
        return fields[:at] + [dice.pick(BRACKETED)] + fields[at + (1 if kind == 5 else 0):]

    def content(self):
        dice = self.dice
        columns = self.columns()
        lines = [b",".join(columns)]
        rows = dice.pick([0, 1, 3, 6, 12, 20, 40])
        made = []
        for _ in range(rows):
            if made and dice.one_in(6):
                made.append(dice.pick(made))
            else:
                made.append(self.row(columns))
        lines.extend(made)
        line_ends = [[b"\n"], [b"\n"], [b"\r\n"], [b"\n", b"\r\n"], [b"\n", b"\r\r\n", b"\n\n"]]
        ends = dice.pick(line_ends)
        text = b"".join(line + dice.pick(ends) for line in lines)
        if dice.one_in(4):
            text = text[:-1]
        if dice.one_in(40):
            text = dice.pick([b",", b"\xef\xbb\xbf", b"\n", b" "]) + text
        return text


OTHER_FILES = [b"", b"\n", b"just a text\n", b"FromAddress,TypeOfBranch\n1,2\n", b"\0\0\0",
               b",,,\n",
               b"SQLite format 3\0", b"SQLite format 3\0" + b"\0" * 600, b"\r\n", b"x" * 5000]


# --- Damage -------------------------------------------------------------------------------------

CELLS = [
    "NULL", "0", "-1", "1", "2", "5", "3", "2147483647", "2147483648", "4294967295", "4294967296",
    "4294967297", "-2147483648", "9223372036854775806", "-9223372036854775808", "1.5", "-2.5",
    "1e20", "1e10", "''", "'12'", "' 7x'", "'abc'", "'-1'", "'99999999999999999999'", "x''",
    "x'3132'", "x'61006263'", "CAST(x'666f6f0078' AS TEXT)", "CAST(x'412e430078' AS TEXT)",
    "CAST(x'ff41' AS TEXT)", "'foo'", "'main'", "'a.c'", "'A.C'", "x'412e43'", "'%s'"]
IDS = [
    "0", "-1", "-5", "1", "2", "3", "7", "100", "2147483646", "2147483647", "2147483648",
    "4294967295", "4294967296", "4294967297", "-2147483648"]
TABLES = {
    "sf_version": ["sf_key", "sf_value"],
    "sf_run_info": ["sf_key", "sf_value"],
    "sf_filenames": ["sf_id", "sf_filename"],
    "sf_functions": ["sf_id", "sf_func_name", "sf_file_id", "sf_exec_count", "sf_flags"],
    "sf_edges": ["sf_from_func_id", "sf_from_address", "sf_from_abs_line", "sf_from_rel_line",
                 "sf_from_column", "sf_from_discr", "sf_to_func_id", "sf_to_bb_end_address",
                 "sf_to_abs_line", "sf_to_rel_line", "sf_to_column", "sf_to_discr",
                 "sf_exec_count", "sf_flags"],
    "sf_calls": ["sf_from_func_id", "sf_from_abs_line", "sf_from_rel_line", "sf_to_func_name",
                 "sf_exec_count"],
}
CONTENT_TABLES = ["sf_filenames", "sf_functions", "sf_edges", "sf_calls"]
VERSION_KEYS = ["schema_version", "filename_columns", "functions_columns", "edges_columns",
                "calls_columns"]
VERSION_VALUES = ["1", "2", "5", "14", "257", "258", "261", "270", "-255", "0", "x", "", "1x", " 1",
                  "4294967297", "15", "99999999999999999999"]
RUN_COUNTS = ["NULL", "''", "'-1'", "'0'", "'5'", "'-7'", "'abc'", "'2147483647'", "'2147483648'",
              "'4294967295'", "'4294967294'", "'-2147483648'", "' 3x'", "7", "x'38'"]


def set_one_cell(dice):
    table = dice.pick(CONTENT_TABLES)
    column = dice.pick(TABLES[table])
    value = dice.pick(IDS if column == "sf_id" else CELLS)
    row = dice.pick(["=1", "=2", "=3", "=4", "<=3", "%2=0",
                     "=(SELECT MAX(rowid) FROM " + table + ")"])
    return ["UPDATE %s SET %s=%s WHERE rowid%s" % (table, column, value, row)]


ROW_NAMES = ["'foo'", "'main'", "'bar'", "'zzz'", "''", "NULL", "'a/B'", "5", "x'666f6f'", "'NA'",
             "CAST(x'666f6f0078' AS TEXT)"]
ROW_FILES = ["'A.C'", "'a.c'", "'B.C'", "''", "NULL", "'new.c'", "x'412e43'", "7", "'C'",
             "CAST(x'412e430078' AS TEXT)"]
ROW_FLAGS = ["0", "1", "2", "3", "7", "NULL", "'2'", "-1", "4294967297"]


def add_row(dice):
    kind = dice.number(0, 4)
    new_id = dice.mixed(["NULL"], IDS, 2)
    if kind == 0:
        return ["INSERT INTO sf_filenames VALUES(%s, %s)" % (new_id, dice.pick(ROW_FILES))]
    if kind == 1:
        file_id = dice.pick(["0", "1", "2", "1", "2", "NULL", "3", "9"])
        values = [new_id, dice.pick(ROW_NAMES), file_id, dice.pick(CELLS), dice.pick(ROW_FLAGS)]
        return ["INSERT INTO sf_functions VALUES(%s)" % ", ".join(values)]
    if kind == 2:
        values = [dice.pick(["1", "2", "3", "0", "-1"]), dice.pick(CELLS), dice.pick(CELLS),
                  dice.pick(ROW_NAMES), dice.pick(CELLS)]
        return ["INSERT INTO sf_calls VALUES(%s)" % ", ".join(values)]
    if kind == 3:
        values = [dice.pick(["1", "2", "3"])] + [dice.pick(CELLS) for _ in range(13)]
        return ["INSERT INTO sf_edges VALUES(%s)" % ", ".join(values)]
    flags = dice.pick(["0", "1", "2", "3", "7"])
    last = dice.number(1, 5)
    return ["INSERT INTO sf_edges SELECT sf_from_func_id, sf_from_address, sf_from_abs_line, "
            "sf_from_rel_line, sf_from_column, sf_from_discr, 99, sf_to_bb_end_address, "
            "sf_to_abs_line, sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count+1, %s "
            "FROM sf_edges WHERE rowid<=%d" % (flags, last)]


def remove_rows(dice):
    table = dice.pick(list(TABLES) + CONTENT_TABLES)
    return ["DELETE FROM %s WHERE rowid%s" % (table, dice.pick(["=1", "=2", "%2=1", ">0", ">2"]))]


def change_version(dice):
    key = dice.pick(VERSION_KEYS)
    value = dice.pick(VERSION_VALUES)
    return dice.pick([
        ["UPDATE sf_version SET sf_value='%s' WHERE sf_key='%s'" % (value, key)],
        ["INSERT INTO sf_version VALUES('%s', '%s')" % (key, value)],
        ["DELETE FROM sf_version WHERE sf_key='%s'" % key],
        ["UPDATE sf_version SET sf_value=NULL WHERE sf_key='%s'" % key],
        ["UPDATE sf_version SET sf_key=upper(sf_key) WHERE sf_key='%s'" % key],
        ["UPDATE sf_version SET sf_value=CAST(sf_value AS BLOB)"]])


def change_run_count(dice):
    value = dice.pick(RUN_COUNTS)
    return dice.pick([
        ["UPDATE sf_run_info SET sf_value=%s" % value],
        ["INSERT INTO sf_run_info VALUES('num_runs', %s)" % value],
        ["DELETE FROM sf_run_info", "INSERT INTO sf_run_info VALUES('num_runs', %s)" % value]])


def change_schema(dice):
    table = dice.pick(list(TABLES))
    column = dice.pick(TABLES[table])
    kind = dice.number(0, 5)
    if kind == 0:
        return ["ALTER TABLE %s ADD COLUMN sf_extra INTEGER DEFAULT 3" % table]
    if kind == 1:
        return ["DROP TABLE %s" % table]
    if kind == 2:
        return ["DROP INDEX idx1", "DROP INDEX idx2"]
    if kind == 3:
        return ["ALTER TABLE %s DROP COLUMN %s" % (table, column)]
    if kind == 4:
        return ["ALTER TABLE sf_functions DROP COLUMN sf_flags"]
    # The same columns without declared types, in another order.
    columns = ", ".join(dice.shuffled(TABLES[table]))
    return ["CREATE TABLE other AS SELECT %s FROM %s" % (columns, table), "DROP TABLE %s" % table,
            "CREATE TABLE %s(%s)" % (table, columns), "INSERT INTO %s SELECT * FROM other" % table,
            "DROP TABLE other"]


def hinder_writes(dice):
    """Constraints and triggers that make single writes fail."""
    table = dice.pick(CONTENT_TABLES)
    operation = dice.pick(["INSERT", "DELETE", "UPDATE", "INSERT"])
    reaction = dice.pick(["ABORT, 'no'", "FAIL, 'no'", "IGNORE", "ROLLBACK, 'no'"])
    return dice.pick([
        ["CREATE TRIGGER hinder BEFORE %s ON %s BEGIN SELECT RAISE(%s); END"
         % (operation, table, reaction)],
        ["CREATE TRIGGER hinder BEFORE INSERT ON sf_edges WHEN NEW.sf_exec_count>10 "
         "BEGIN SELECT RAISE(%s); END" % reaction],
        ["CREATE UNIQUE INDEX once ON sf_functions(sf_func_name)"],
        ["CREATE UNIQUE INDEX once ON sf_edges(sf_from_abs_line)"],
        ["CREATE UNIQUE INDEX once ON sf_calls(sf_to_func_name)"]])


def repeat_file_names(dice):
    return ["INSERT INTO sf_filenames(sf_filename) SELECT %s FROM sf_filenames"
            % dice.pick(["sf_filename", "lower(sf_filename)", "CAST(sf_filename AS BLOB)"]),
            dice.pick(["UPDATE sf_functions SET sf_file_id=(SELECT MAX(sf_id) FROM sf_filenames) "
                       "WHERE rowid%2=0",
                       "UPDATE sf_filenames SET sf_filename=lower(sf_filename)",
                       "UPDATE sf_functions SET sf_file_id=sf_file_id+1"])]


def repeat_functions(dice):
    return ["INSERT INTO sf_functions(sf_func_name, sf_file_id, sf_exec_count, sf_flags) "
            "SELECT sf_func_name, %s, %s, 3 FROM sf_functions"
            % (dice.pick(["sf_file_id", "1", "0", "2", "CAST(sf_file_id AS TEXT)"]),
               dice.pick(["1", "sf_exec_count", "-1", "4294967296"]))]


POINTED = [
    "UPDATE sf_calls SET sf_to_func_name=NULL WHERE rowid%2=0",
    "UPDATE sf_calls SET sf_to_func_name=CAST(sf_to_func_name AS BLOB)",
    "UPDATE sf_calls SET sf_to_func_name=7, sf_exec_count=-1",
    "UPDATE sf_calls SET sf_exec_count=4294967296, sf_from_abs_line=4294967298",
    "UPDATE sf_edges SET sf_exec_count=4294967296+sf_exec_count",
    "UPDATE sf_edges SET sf_exec_count=2147483648, sf_flags=7",
    "UPDATE sf_edges SET sf_exec_count=sf_exec_count||'x', sf_flags='3z'",
    "UPDATE sf_edges SET sf_from_column=65537, sf_to_discr=-1",
    "UPDATE sf_edges SET sf_from_abs_line=-1, sf_from_rel_line=NULL",
    "UPDATE sf_edges SET sf_to_func_id=NULL, sf_flags=1-sf_flags",
    "UPDATE sf_edges SET sf_from_address=sf_from_address+0.5",
    "UPDATE sf_functions SET sf_file_id=(SELECT MAX(sf_id)+1 FROM sf_filenames) WHERE rowid=2",
    "UPDATE sf_functions SET sf_file_id=(SELECT MAX(sf_id)+2 FROM sf_filenames) WHERE rowid=1",
    "UPDATE sf_functions SET sf_file_id=-1 WHERE rowid=2",
    "UPDATE sf_functions SET sf_file_id=0",
    "UPDATE sf_functions SET sf_file_id=sf_file_id+0.5",
    "UPDATE sf_functions SET sf_file_id=sf_file_id||'x'",
    "UPDATE sf_functions SET sf_file_id=4294967297",
    "UPDATE sf_functions SET sf_file_id=NULL WHERE rowid%2=0",
    "UPDATE sf_functions SET sf_func_name=CAST(sf_func_name AS BLOB) WHERE rowid%2=0",
    "UPDATE sf_functions SET sf_func_name=CAST(sf_func_name||x'0061' AS TEXT) WHERE rowid%2=1",
    "UPDATE sf_functions SET sf_func_name=NULL WHERE rowid=1",
    "UPDATE sf_functions SET sf_func_name='foo'",
    "UPDATE sf_functions SET sf_func_name=sf_func_name||'/X', sf_flags=3-sf_flags",
    "UPDATE sf_functions SET sf_exec_count=-1, sf_flags=-1",
    "UPDATE sf_functions SET sf_exec_count=sf_exec_count+0.25",
    "UPDATE sf_functions SET sf_id=sf_id+4294967296",
    "UPDATE sf_functions SET sf_id=sf_id+2147483647 WHERE sf_id>1",
    "UPDATE sf_functions SET sf_id=-sf_id",
    "UPDATE sf_functions SET sf_id=sf_id+1000 WHERE sf_id<3",
    "UPDATE sf_filenames SET sf_filename=lower(sf_filename)",
    "UPDATE sf_filenames SET sf_filename=CAST(sf_filename AS BLOB)",
    "UPDATE sf_filenames SET sf_filename=CAST(sf_filename||x'0061' AS TEXT)",
    "UPDATE sf_filenames SET sf_filename='A.C'",
    "UPDATE sf_filenames SET sf_filename=NULL WHERE rowid=1",
    "UPDATE sf_filenames SET sf_id=2147483647 WHERE sf_id=1",
    "UPDATE sf_filenames SET sf_id=4294967295 WHERE sf_id=(SELECT MAX(sf_id) FROM sf_filenames)",
    "UPDATE sf_filenames SET sf_id=4294967296+sf_id",
    "UPDATE sf_filenames SET sf_id=-sf_id",
    "UPDATE sf_filenames SET sf_id=-sf_id WHERE sf_id=1",
    "INSERT INTO sf_filenames VALUES(0, 'ZERO.C')",
    "INSERT INTO sf_filenames VALUES(2147483646, 'FAR.C')",
    "CREATE TRIGGER hinder BEFORE INSERT ON sf_filenames BEGIN SELECT RAISE(IGNORE); END",
    "CREATE TRIGGER hinder BEFORE INSERT ON sf_filenames BEGIN SELECT RAISE(ABORT, 'no'); END",
    "CREATE TRIGGER hinder BEFORE INSERT ON sf_functions BEGIN SELECT RAISE(IGNORE); END",
    "CREATE TRIGGER hinder BEFORE INSERT ON sf_functions WHEN NEW.sf_exec_count>0 "
    "BEGIN SELECT RAISE(ABORT, 'no'); END",
    "CREATE TRIGGER hinder BEFORE INSERT ON sf_calls BEGIN SELECT RAISE(ABORT, 'no'); END",
    "CREATE TRIGGER hinder BEFORE INSERT ON sf_calls BEGIN SELECT RAISE(IGNORE); END",
    "CREATE TRIGGER hinder BEFORE UPDATE ON sf_functions BEGIN SELECT RAISE(FAIL, 'no'); END",
    "CREATE TRIGGER hinder BEFORE UPDATE ON sf_functions BEGIN SELECT RAISE(ROLLBACK, 'no'); END",
    "CREATE TRIGGER hinder BEFORE DELETE ON sf_calls BEGIN SELECT RAISE(ABORT, 'no'); END",
    "CREATE TRIGGER hinder AFTER INSERT ON sf_filenames BEGIN "
    "UPDATE sf_filenames SET sf_filename=lower(NEW.sf_filename) WHERE sf_id=NEW.sf_id; END",
    "CREATE TRIGGER hinder AFTER INSERT ON sf_functions BEGIN "
    "UPDATE sf_functions SET sf_id=NEW.sf_id+10 WHERE sf_id=NEW.sf_id; END",
]


def hit_one_point(dice):
    return [dice.pick(POINTED)]


def make_damage(dice):
    kinds = [hit_one_point, hit_one_point, hit_one_point, hit_one_point, set_one_cell,
             set_one_cell, add_row, add_row, remove_rows, change_version,
             change_run_count, change_schema, hinder_writes, hinder_writes, repeat_file_names,
             repeat_functions]
    statements = []
    for _ in range(dice.pick([1, 1, 2, 4])):
        statements.extend(dice.pick(kinds)(dice))
    return statements


# --- Command lines ------------------------------------------------------------------------------


def quoted(dice, name):
    kind = dice.number(0, 29)
    if kind <= 2:
        return b'"' + name + b'"'
    if kind == 3:
        return b"'" + name + b"'"
    if kind == 4:
        return b'"' + name
    if kind == 5:
        return dice.pick([b'"a;' + name + b'"', name + b'"', b'"' + name + b'\\"',
                          b'"\\"' + name + b'"',
                          name + b"\\", b"x\"y;" + name + b'"', b'"a;b";' + name + b'"',
                          b"'it\\'s;" + name + b"'",
                          b'"x\\;";' + name])
    return name


def random_list_text(dice):
    return b"".join(dice.pick([b'"', b"'", b";", b"\\", b"e1.csv", b"a", b" ", b";e1.csv;", b'";"'])
                    for _ in range(dice.number(1, 9)))


def make_list(dice, inputs):
    if dice.one_in(25):
        return random_list_text(dice)
    names = [dice.pick(inputs) for _ in range(dice.pick([1, 1, 1, 2, 2, 3, 4]))]
    parts = [quoted(dice, name) for name in names]
    if dice.one_in(10):
        parts.insert(dice.number(0, len(parts)), dice.pick(LIST_ODDITIES))
    if dice.one_in(12):
        parts.append(dice.pick([b"missing.csv", b"dir", b".", b"no/such/file", b"m\xff.csv",
                                b"%s"]))
    return b";".join(parts)


def odd_command_line(dice):
    words = [b"-file", b"-out", b"-append", b"-sort", b"-trace", b"-dump", b"-help", b"-quiet",
             b"-nologo",
             b"/file", b"/dump", b"/nologo", b"-Out", b"-ou", b"-", b"/", b"--out", b"//x", b"-?",
             b"/?",
             b"", b"e1.csv", b"e1.csv", b"odd.db", b"-1", b"/tmp", b"?", b"-file=e1.csv", b"-%s",
             b"L",
             b"-\xff"]
    return [dice.pick(words) for _ in range(dice.number(0, 6))]


def make_action(dice, made):
    """The words that choose the action; made holds the databases written so far, as it seems."""
    absent = [name for name in (b"one.db", b"two.db", b"three.db") if name not in made]
    kind = dice.number(0, 19)
    if kind <= 3:
        return [[b"-dump"]]
    if kind == 4:
        odd_targets = [b"dir", b"no/dir/x.db", b"e1.csv", b"empty.txt", b"", b":memory:"]
        return [[dice.pick([b"-out", b"-append"]), dice.pick(odd_targets)]]
    if kind == 5:
        return [[b"-out", dice.pick(made + [b"one.db"])]]
    if absent and kind <= (9 if made else 16):
        target = [dice.pick([b"-out", b"-out", b"-append"]), absent[0]]
        made.append(absent[0])
    else:
        target = [b"-append", dice.pick(made + [b"one.db"])]
    return [target] + ([[b"-dump"]] if dice.one_in(3) else [])


def make_command_line(dice, inputs, made):
    if dice.one_in(25):
        return odd_command_line(dice)
    options = [[b"-file", make_list(dice, inputs + made * 2)]]
    options.extend(make_action(dice, made))
    if dice.one_in(2):
        options.append([b"-sort", dice.pick(SORTS)])
    if dice.one_in(2):
        options.append([b"-trace", dice.mixed([b"13", b"15", b"13", b"1"], TRACES, 3)])
    for flag, one_in in ((b"-nologo", 2), (b"-quiet", 4), (b"-help", 60), (b"-bogus", 90)):
        if dice.one_in(one_in):
            options.append([flag])
    if dice.one_in(30):
        options.append(dice.pick(options))
    if dice.one_in(60):
        options.append([b"stray"])
    if dice.one_in(60):
        options.append([dice.pick([b"-out", b"-append"]), b"one.db"])
    words = []
    for option in dice.shuffled(options):
        prefix = b"/" if dice.one_in(10) else b"-"
        words.extend([prefix + option[0][1:] if option[0][:1] == b"-" else option[0]] + option[1:])
    return words


def make_look_at(dice, damaged, inputs, made):
    """A command line that surely meets the damaged database, mostly with traces."""
    words = [b"-nologo"]
    if dice.one_in(3):
        names = dice.shuffled([damaged] + [dice.pick(inputs) for _ in range(dice.number(0, 2))])
        target = [name for name in (b"one.db", b"two.db", b"three.db") if name not in made]
        if target and dice.one_in(2):
            words += [b"-out", target[0]]
            made.append(target[0])
        words += [b"-dump", b"-file", b";".join(names)]
    else:
        names = [dice.pick(inputs) for _ in range(dice.number(1, 3))]
        if dice.one_in(6):
            names.append(dice.pick(made))
        words += [b"-append", damaged, b"-file", b";".join(names)]
    if not dice.one_in(4):
        words += [b"-trace", dice.pick([b"13", b"13", b"1", b"15"])]
    return words


# --- Cases --------------------------------------------------------------------------------------


class Case:
    def __init__(self):
        self.files = {}  # name to content
        self.steps = []  # ("run", words, database mode or None) or ("sql", database, statements)


def make_files(dice, case):
    edge_files = [b"e1.csv", b"e2.csv", b"e 3.csv"][:dice.number(1, 3)]
    maker = EdgeFileMaker(dice)
    for name in edge_files:
        if dice.one_in(2):
            maker = EdgeFileMaker(dice)
        case.files[name] = maker.content()
    case.files[b"empty.txt"] = b""
    inputs = edge_files * 4
    if dice.one_in(4):
        case.files[b"other.txt"] = dice.pick(OTHER_FILES)
        inputs.append(b"other.txt")
    return inputs


def make_case(seed):
    dice = Dice(seed)
    case = Case()
    inputs = make_files(dice, case)
    made = []
    for name in (b"one.db", b"two.db"):
        if dice.one_in(2):
            file_list = b";".join(dice.pick(inputs) for _ in range(dice.number(1, 3)))
            case.steps.append(("run", [b"-nologo", b"-file", file_list, b"-out", name], None))
            made.append(name)
    for _ in range(dice.pick([1, 1, 2, 3])):
        if made and dice.one_in(2):
            damaged = dice.pick(made)
            case.steps.append(("sql", damaged, make_damage(dice)))
            if not dice.one_in(3):
                case.steps.append(("run", make_look_at(dice, damaged, inputs, made), None))
        mode = dice.pick([None, None, None, b"FAILSAFE_MODE", b"failsafe_mode", b""])
        case.steps.append(("run", make_command_line(dice, inputs, made), mode))
    if made and dice.one_in(3):
        words = [b"-nologo", b"-file", b";".join(made), b"-dump", b"-sort", dice.pick(SORTS)]
        case.steps.append(("run", words, None))
    return case


def print_case(case):
    for name, content in case.files.items():
        print("file %r: %r" % (name, content))
    for step in case.steps:
        print("step %r" % (step,))


if __name__ == "__main__":
    print_case(make_case(int(sys.argv[1])))
