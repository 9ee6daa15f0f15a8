#!/usr/bin/env python3
"""A second, deliberately plain implementation of edgefold's observable behaviour.

It exists to be compared with the program: same command line, same standard output, standard
error, exit status and database. It favours being easy to check over being fast, keeps every text
as bytes, and leaves the comparison itself to compare.py.

Run it like the tool (python3 edge_model.py ARGS...), or call run_tool() from another program.
The examples in the comments of the small functions run with: python3 -m doctest edge_model.py
"""

import ctypes
import ctypes.util
import os
import re
import sys
from collections import namedtuple
from fractions import Fraction

WHITE_SPACE = b" \t\n\v\f\r"
MASK_16 = 0xFFFF
MASK_32 = 0xFFFFFFFF
MASK_64 = 0xFFFFFFFFFFFFFFFF
NO_LINE = 0xFFFFFFFF

TRACE_DB_ERRORS = 1
TRACE_DB_CALLS = 2
TRACE_DB_LOAD = 4
TRACE_DB_STORE = 8

VERSION_LINE = (b"Velmora(R) Quillon sampling merge tool for applications running on "
                b"Velmora(R) 64, Version 2021.8.0 Build 20221119_000000\n")
# The second line of the banner carries no behaviour; the comparison masks it on both sides.
RIGHTS_LINE = b"<rights line>\n"

USAGE_OPTIONS = (
    b"           [-nologo]\n"
    b"           [-append <file>]\n"
    b"           [-dump]\n"
    b"           [-file <file>[;<file>*]]\n"
    b"           [-help]\n"
    b"           [-out <file>]\n"
    b"           [-sort <order_code>[-]]\n")

HELP_OPTIONS = (
    b"           [-nologo]\n"
    b"               Print version number\n"
    b"           [-append <file>]\n"
    b"               Update the database file with contents of merge\n"
    b"           [-dump]\n"
    b"               Print result records from merging files specified in -file option\n"
    b"           [-file <file>[;<file>*]]\n"
    b"                List of files to merge or dump\n"
    b"           [-help]\n"
    b"                Print this message\n"
    b"           [-out <file>]\n"
    b"               Create a new database file with contents of merge\n"
    b"           [-sort <order_code>[-]]\n"
    b"               Sort the edge data results printed with -dump.\n"
    b"               <order_code> is one of:\n"
    b"                   A - sort by start address\n"
    b"                   C - sort by execution count\n"
    b"                   L - sort by start line\n"
    b"               The optional '-' suffix to the sort method can be used to sort\n"
    b"               in descending order.\n")

MESSAGES = {
    "PT_cannot_open_file": (30000, b"Failed to open %s for reading."),
    "PT_cannot_open_output_file": (30001, b"Failed to open %s for writing."),
    "PT_edgefold_output_exists": (
        30094, b"File, %s, already exists. Use -append option to update it."),
    "PT_cannot_read_samples": (30095, b"Unable to read hardware sampling data from '%s'"),
    "PT_edgefold_incompatible_file_format": (
        30096, b"File, %s, already exists, but is not compatible with this version. "
               b"Delete and regenerate."),
    "PT_edgefold_no_files": (30097, b"No input files specified. Use -file option."),
    "PT_edgefold_no_action": (30098, b"No action specified, Use -out, -append or -dump."),
    "PT_edgefold_cannot_out_and_append": (
        30099, b"Cannot use -out and -append options simultaneously."),
    "PT_edgefold_internal_error": (30100, b"Internal error."),
    "PT_edgefold_merged_files": (30101, b"Merged %d files to output file."),
    "CLI_unknown_option": (32500, b"unknown option '%s%s'"),
    "CLI_option_missing_value": (32501, b"missing or unexpected option value for '%s%s'"),
}


# --- Numbers in texts ---------------------------------------------------------------------------


def cut_at_nul(text):
    """The text as far as its first NUL.

    >>> cut_at_nul(b"ab\\0c"), cut_at_nul(b"ab")
    (b'ab', b'ab')
    """
    return text.split(b"\0", 1)[0]


def signed(value, bits):
    """The low bits of value as a two's complement number."""
    value &= (1 << bits) - 1
    return value - (1 << bits) if value >> (bits - 1) else value


def decimal_prefix(text):
    """White space, sign, digits; 0 without digits. Saturates at the signed 64-bit range.

    >>> [decimal_prefix(t) for t in (b" -12x", b"+3", b"- 3", b"", b"99999999999999999999")]
    [-12, 3, 0, 0, 9223372036854775807]
    """
    rest = text.lstrip(WHITE_SPACE)
    negative = rest[:1] == b"-"
    if rest[:1] in (b"-", b"+"):
        rest = rest[1:]
    value = 0
    for byte in rest:
        if not 0x30 <= byte <= 0x39:
            break
        value = value * 10 + byte - 0x30
    value = -value if negative else value
    return max(-(1 << 63), min((1 << 63) - 1, value))


def atoi(text):
    """The low 32 bits of the 64-bit number, as a signed value.

    >>> [atoi(t) for t in (b"4294967296", b"4294967295", b"99999999999999999999", b"7,1")]
    [0, -1, -1, 7]
    """
    return signed(decimal_prefix(text), 32)


def parse_trace_value(text):
    """A signed long of 32 bits in the base that the text announces; saturates.

    >>> [parse_trace_value(t) for t in (b"0x9", b"010", b"3x", b"abc", b" -1", b"0x")]
    [9, 8, 3, 0, -1, 0]
    >>> parse_trace_value(b"0xFFFFFFFF")
    2147483647
    """
    rest = text.lstrip(WHITE_SPACE)
    negative = rest[:1] == b"-"
    if rest[:1] in (b"-", b"+"):
        rest = rest[1:]
    base = 10
    if re.match(rb"0[xX][0-9a-fA-F]", rest):
        base = 16
        rest = rest[2:]
    elif rest[:1] == b"0":
        base = 8
    digits = b"0123456789abcdef"[:base]
    value = 0
    for byte in rest.lower():
        if byte not in digits:
            break
        value = value * base + digits.index(byte)
    value = -value if negative else value
    return max(-(1 << 31), min((1 << 31) - 1, value))


def parse_hex_u64(text):
    """
    >>> [hex(parse_hex_u64(t)) for t in (b"1a0", b"0x1A0 z", b" +f", b"-1", b"0x", b"g", b"")]
    ['0x1a0', '0x1a0', '0xf', '0xffffffffffffffff', '0x0', '0x0', '0x0']
    >>> hex(parse_hex_u64(b"-10000000000000000")), hex(parse_hex_u64(b"-0X10"))
    ('0xffffffffffffffff', '0xfffffffffffffff0')
    """
    rest = text.lstrip(WHITE_SPACE)
    negative = rest[:1] == b"-"
    if rest[:1] in (b"-", b"+"):
        rest = rest[1:]
    if re.match(rb"0[xX][0-9a-fA-F]", rest):
        rest = rest[2:]
    value = int(re.match(rb"[0-9a-fA-F]*", rest).group() or b"0", 16)
    if value > MASK_64:
        return MASK_64
    return -value & MASK_64 if negative else value


def parse_int_field(text):
    """
    >>> [parse_int_field(t) for t in (b"", b"1,234", b"-1", b"x", b" 5.7")]
    [0, 1234, 4294967295, 0, 5]
    """
    return atoi(text.replace(b",", b"")) & MASK_32


FLOAT_TEXT = re.compile(
    rb"[ \t\n\v\f\r]*(?P<sign>[+-]?)(?:"
    rb"(?P<infinity>inf)|(?P<nan>nan)"
    rb"|0x(?=\.?[0-9a-f])(?P<hex>[0-9a-f]*)(?:\.(?P<hex_behind>[0-9a-f]*))?"
    rb"(?:p(?P<hex_power>[+-]?[0-9]+))?"
    rb"|(?=\.?[0-9])(?P<dec>[0-9]*)(?:\.(?P<dec_behind>[0-9]*))?(?:e(?P<dec_power>[+-]?[0-9]+))?"
    rb")", re.IGNORECASE)

INFINITY = "infinity"
NOT_A_NUMBER = "not a number"


def scan_float(text):
    """The number that strtof reads from the text's start, rounded once to 32-bit float.

    Gives a Fraction, or (sign, INFINITY), or NOT_A_NUMBER; 0 where no number stands.
    """
    match = FLOAT_TEXT.match(text)
    if match is None:
        return Fraction(0)
    sign = -1 if match["sign"] == b"-" else 1
    if match["nan"]:
        return NOT_A_NUMBER
    if match["infinity"]:
        return (sign, INFINITY)
    if match["hex"] is not None:
        size = scaled(match["hex"], match["hex_behind"] or b"", match["hex_power"], 16)
    else:
        size = scaled(match["dec"], match["dec_behind"] or b"", match["dec_power"], 10)
    size = size if size == INFINITY else round_to_float(size)
    return (sign, INFINITY) if size == INFINITY else sign * size


def scaled(digits_before, digits_behind, power, base):
    """The exact value of a number's digits and exponent; beyond any float at once INFINITY or 0."""
    digits = (digits_before + digits_behind).lstrip(b"0")
    if not digits:
        return Fraction(0)
    power = power or b"0"
    exponent = 0
    for byte in power.lstrip(b"+-"):
        exponent = min(exponent * 10 + byte - 0x30, 10**9)
    exponent = -exponent if power[:1] == b"-" else exponent
    if base == 10:
        shift, exponent_base = exponent - len(digits_behind), 10
        magnitude = len(digits) + shift
    else:
        shift, exponent_base = exponent - 4 * len(digits_behind), 2
        magnitude = (4 * len(digits) + shift) // 4
    if magnitude > 100:
        return INFINITY
    if magnitude < -100:
        return Fraction(0)
    return int(digits, base) * Fraction(exponent_base) ** shift


def round_to_float(value):
    """The nearest 32-bit float to a value of at least 0, ties to the even one.

    >>> int(round_to_float(Fraction(16777217))), int(round_to_float(Fraction(16777219)))
    (16777216, 16777220)
    >>> int(round_to_float(Fraction(16777217) + Fraction(1, 10**30)))
    16777218
    >>> round_to_float(Fraction(99999999, 10**8))
    Fraction(1, 1)
    """
    if value == 0:
        return value
    exponent = value.numerator.bit_length() - value.denominator.bit_length()
    if Fraction(2) ** exponent > value:
        exponent -= 1
    step = Fraction(2) ** (max(exponent, -126) - 23)
    rounded = round(value / step) * step
    return INFINITY if rounded >= Fraction(2) ** 128 else rounded


def parse_count(text):
    """A hit count: through a 32-bit float to an unsigned 64-bit number.

    >>> [parse_count(t) for t in (b"12.9", b"1e3", b"16777217", b"-5", b"x", b"0x1p4", b"-0.5")]
    [12, 1000, 16777216, 18446744073709551611, 0, 16, 0]
    >>> [parse_count(t) for t in (b"9223372036854775808", b"18446744073709551616", b"1e20")]
    [9223372036854775808, 0, 0]
    >>> [parse_count(t) for t in (b"inf", b"-inf", b"nan(1)", b"-1e30")]
    [0, 9223372036854775808, 9223372036854775808, 9223372036854775808]
    """
    number = scan_float(text)
    if number == NOT_A_NUMBER:
        return 1 << 63
    if isinstance(number, tuple):
        return 0 if number[0] > 0 else 1 << 63
    if number >= 1 << 64:
        return 0
    if number < -(1 << 63):
        return 1 << 63
    return int(number) & MASK_64


def grouped(value):
    """
    >>> grouped(999), grouped(1000), grouped(1234567), grouped(1000000)
    (b'999', b'1,000', b'1,234,567', b'1,000,000')
    """
    if value < 1000:
        return b"%d" % value
    return grouped(value // 1000) + b",%03d" % (value % 1000)


def upper_case(text):
    """Only a to z change, as in the "C" locale."""
    return bytes(b - 32 if 0x61 <= b <= 0x7A else b for b in text)


# --- Names --------------------------------------------------------------------------------------

OMP_NAME = re.compile(rb"L_([_a-zA-Z0-9]*)_[0-9]+__par_"
                      rb"(?:crewloop|loop|section|taskq|region)[0-9]+_2\.[0-9]+")


def remove_omp_mangling(name):
    """
    >>> remove_omp_mangling(b"L_main_23__par_region0_2.1")
    b'main'
    >>> remove_omp_mangling(b"xL_foo_bar_104__par_loop2_2.17.y")
    b'foo_bar'
    >>> remove_omp_mangling(b"L__23__par_region0_2.1")
    b'L__23__par_region0_2.1'
    """
    match = OMP_NAME.search(name)
    if match is None or match.group(1) == b"":
        return name
    return match.group(1)


def is_letter(text, index):
    return re.match(rb"[a-zA-Z]", text[index:index + 1]) is not None


def remove_suffix(name):
    """
    >>> [remove_suffix(n) for n in (b"foo", b"foo.123", b"foo.a.123", b"foo.a.123.bar")]
    [b'foo', b'foo', b'foo', b'foobar']
    >>> [remove_suffix(n) for n in (b"foo.bar", b"foo.1.2", b"foo..12", b"foo.", b".foo")]
    [b'foobar', b'foo2', b'foo', b'foo', b'foo']
    """
    p = name.find(b".")
    if p < 0:
        return name
    q = p + 1
    if is_letter(name, q) and name[p + 2:p + 3] == b".":
        q = p + 3
    if name[q:q + 1] == b".":
        q += 1
    while name[q:q + 1].isdigit():
        q += 1
    if name[q:q + 1] == b".":
        q += 1
    return name[:p] + name[q:]


def key_name_for(name):
    """
    >>> key_name_for(b"foo")
    >>> key_name_for(b"__N_10_src_main_c_Helper")
    b'(anon ns)_Helper'
    >>> key_name_for(b"a__N_3_xyzb__N_1_qc")
    b'a(anon ns)b(anon ns)c'
    >>> key_name_for(b"a__N_"), key_name_for(b"a__N_9_xy"), key_name_for(b"a__N_-1_xy")
    (None, None, None)
    """
    p = name.find(b"__N_")
    if p < 0:
        return None
    result = b""
    rest = 0
    while p >= 0:
        length = atoi(name[p + 4:])
        u = name.find(b"_", p + 4)
        if u < 0:
            return None
        if length < 0 or len(name) - (u + 1) < length:
            return None
        result += name[rest:p] + b"(anon ns)"
        rest = u + 1 + length
        p = name.find(b"__N_", rest)
    return result + name[rest:]


def normalise(name):
    """The whole chain of name stages.

    >>> normalise(b"L_a_1__par_loop0_2.5.7"), normalise(b"L_main_1__par_unknown0_2.1")
    (b'a', b'L_main_1__par_unknown0_2')
    """
    name = remove_omp_mangling(name)
    name = remove_suffix(name)
    key_name = key_name_for(name)
    return name if key_name is None else key_name


# --- Profile model ------------------------------------------------------------------------------


class SourcePosition(namedtuple("SourcePosition", "line relative_line column discriminator")):
    __slots__ = ()

    def location(self):
        """What is compared: the relative line is carried along only."""
        return (self.line, self.column, self.discriminator)

    def format_short(self):
        return b"L%d.C%d.D%d" % self.location()


def make_position(line, relative_line, column, discriminator):
    return SourcePosition(line & MASK_32, relative_line & MASK_32,
                          column & MASK_16, discriminator & MASK_16)


class Edge:
    def __init__(self, from_address, from_position, to_address, to_position, exec_count):
        self.from_address = from_address
        self.from_position = from_position
        self.to_address = to_address
        self.to_position = to_position
        self.exec_count = exec_count
        self.is_entry = False
        self.is_exit = False

    def flags(self):
        return (1 if self.is_entry else 0) + (2 if self.is_exit else 0)


class FunctionRecord:
    def __init__(self, file_name, function_name):
        self.proxy = None
        self.file_name = file_name
        self.function_name = function_name
        self.exec_count = 0
        self.uses_columns = False
        self.uses_discriminators = False
        self.edges = {}  # (from_address, to_address) to Edge, in order of creation
        self.calls = {}  # (callee name, line) to [relative line, count]

    def get_full_record(self):
        return self

    def function_flags(self):
        return (1 if self.uses_discriminators else 0) + (2 if self.uses_columns else 0)

    def add_exec_count(self, count):
        self.exec_count = (self.exec_count + count) & MASK_64

    def add_edge(self, from_address, from_position, to_address, to_position, count):
        edge = self.edges.get((from_address, to_address))
        if edge is None:
            edge = Edge(from_address, from_position, to_address, to_position, count)
            self.edges[(from_address, to_address)] = edge
            return edge
        if (edge.from_position.location() == from_position.location()
                and edge.to_position.location() == to_position.location()):
            edge.exec_count = (edge.exec_count + count) & MASK_64
        return edge

    def add_call(self, callee_name, line, relative_line, count):
        call = self.calls.get((callee_name, line))
        if call is None:
            self.calls[(callee_name, line)] = [relative_line, count]
        else:
            call[1] = (call[1] + count) & MASK_64

    def edges_by_line(self):
        """By the line that an edge leaves from; equal lines in order of creation."""
        return sorted(self.edges.values(), key=lambda edge: edge.from_position.line)

    def merge(self, source):
        self.add_exec_count(source.exec_count)
        for (callee_name, line), (relative_line, count) in sorted(source.calls.items()):
            self.add_call(callee_name, line, relative_line, count)
        for edge in source.edges_by_line():
            self.add_edge(edge.from_address, edge.from_position,
                          edge.to_address, edge.to_position, edge.exec_count)


class FunctionRecordProxy:
    def __init__(self, file_name, function_name, database, function_id):
        self.file_name = file_name
        self.function_name = function_name
        self.database = database
        self.function_id = function_id
        self.exec_count = 0
        self.flags = 0
        self.record = None

    def get_full_record(self):
        if self.record is None:
            self.record = FunctionRecord(self.file_name, self.function_name)
            self.record.add_exec_count(self.exec_count)
            self.record.uses_discriminators = bool(self.flags & 1)
            self.record.uses_columns = bool(self.flags & 2)
            self.record.proxy = self
            self.database.load_function_details(self.function_id, self.record)
        return self.record


class FunctionRecordSet:
    def __init__(self):
        self.num_runs = 0
        self.records_by_key = {}
        self.records_by_name = {}  # function name to records in order of insertion

    def add_runs(self, count):
        self.num_runs = (self.num_runs + count) & MASK_32

    def in_key_order(self):
        return [record for _, record in sorted(self.records_by_key.items(), key=lambda x: x[0])]

    def find_or_create_record(self, file_name, function_name):
        file_name = upper_case(file_name)
        found = self.records_by_key.get(function_name + b"/" + file_name)
        if found is not None:
            return found.get_full_record()
        return self.insert_record(FunctionRecord(file_name, function_name))

    def find_or_create_proxy(self, file_name, function_name, database, function_id):
        file_name = upper_case(file_name)
        found = self.records_by_key.get(function_name + b"/" + file_name)
        if found is not None:
            return found
        return self.insert_record(
            FunctionRecordProxy(file_name, function_name, database, function_id))

    def insert_record(self, record):
        key = record.function_name + b"/" + record.file_name
        self.records_by_key.setdefault(key, record)
        self.records_by_name.setdefault(record.function_name, []).append(record)
        return record

    def find_record(self, file_name, function_name):
        records = self.records_by_name.get(function_name)
        if not records:
            return None
        if file_name == b"":
            return records[0].get_full_record()
        for record in records:
            if record.file_name == file_name:
                return record.get_full_record()
        return None


# --- Edge files ---------------------------------------------------------------------------------

EDGE_COLUMNS = [  # name, required
    (b"FromAddress", True),
    (b"TypeOfBranch", True),
    (b"EntryBlock", False),
    (b"FromSourceFile", True),
    (b"FromSourceLine", True),
    (b"FromSourceOffsetLine", False),
    (b"FromSourceColumn", False),
    (b"FromSourceDiscriminator", False),
    (b"FromFunctionMangled", True),
    (b"DestinationAddress", False),
    (b"DestinationEndOfBlockAddress", True),
    (b"DestinationSourceFile", True),
    (b"DestinationSourceLine", True),
    (b"DestinationSourceOffsetLine", False),
    (b"DestinationSourceColumn", False),
    (b"DestinationSourceDiscriminator", False),
    (b"DestinationFunctionMangled", True),
    (b"HitCount", True),
]

OPTIONAL_PAIRS = {
    "offset_lines": (b"FromSourceOffsetLine", b"DestinationSourceOffsetLine"),
    "columns": (b"FromSourceColumn", b"DestinationSourceColumn"),
    "discriminators": (b"FromSourceDiscriminator", b"DestinationSourceDiscriminator"),
}


def split_lines(content):
    """
    >>> split_lines(b"a\\r\\nb\\r\\r\\n\\nc\\r")
    [b'a', b'b\\r', b'', b'c\\r']
    >>> split_lines(b"")
    []
    """
    pieces = content.split(b"\n")
    last = pieces.pop()
    lines = [piece[:-1] if piece.endswith(b"\r") else piece for piece in pieces]
    if last:
        lines.append(last)
    return lines


def split_fields(line, limit):
    """
    >>> split_fields(b"x,[a,b],z", 9), split_fields(b"x,[a,b]y,z", 9)
    ([b'x', b'[a,b]', b'z'], [b'x', b'[a,b]', b'', b'z'])
    >>> split_fields(b"x,[a,b", 9), split_fields(b"x,[a,b]", 9), split_fields(b",,a,,b,", 9)
    ([b'x', b'[a,b'], [b'x', b'[a,b]'], [b'a', b'', b'b', b''])
    >>> split_fields(b",,", 9), split_fields(b"a,b,c", 2), split_fields(b"[a,b],c", 9)
    ([], [b'a', b'b'], [b'[a', b'b]', b'c'])
    """
    fields = []
    start = 0
    while start < len(line) and line[start:start + 1] == b",":
        start += 1
    if start == len(line):
        return fields
    end = line.find(b",", start + 1)
    if end < 0:
        return [line[start:]]
    while True:
        fields.append(line[start:end])
        if len(fields) == limit:
            return fields
        start = end + 1
        if line[start:start + 1] == b"[":
            bracket = line.find(b"]", start)
            if bracket < 0 or bracket == len(line) - 1:
                fields.append(line[start:])
                return fields
            end = bracket + 1
        else:
            end = line.find(b",", start)
            if end < 0:
                fields.append(line[start:])
                return fields


def parse_edge_header(line):
    """Column name to field index, or nothing if a required column is missing."""
    fields = split_fields(line, 0xFFFFFFFF)
    columns = {}
    for name, _ in EDGE_COLUMNS:
        for index, field in enumerate(fields):
            if field == name:
                columns[name] = index
    for name, required in EDGE_COLUMNS:
        if required and name not in columns:
            return None
    return columns


def open_edge_reader(path):
    """The reader of an edge file, or nothing if the file's first line isn't that of one."""
    try:
        with open(path, "rb") as stream:
            content = stream.read()
    except OSError:
        return None
    lines = split_lines(content)
    columns = parse_edge_header(lines[0] if lines else b"")
    return None if columns is None else EdgeFileReader(lines[1:], columns)


class EdgeFileReader:
    def __init__(self, lines, columns):
        self.lines = lines
        self.columns = columns
        self.has = {kind: all(name in columns for name in pair)
                    for kind, pair in OPTIONAL_PAIRS.items()}
        used = [columns[name] for name, required in EDGE_COLUMNS if required]
        if b"EntryBlock" in columns:
            used.append(columns[b"EntryBlock"])
        for kind, pair in OPTIONAL_PAIRS.items():
            if self.has[kind]:
                used.extend(columns[name] for name in pair)
        self.min_fields = max(used) + 1
        self.function_totals = {}  # (file, name) to [called in, entry hits, returned]
        self.edges_by_from = {}
        self.edges_by_to = {}
        self.entry_targets = set()
        self.return_sources = set()

    def read_function_records(self, records):
        for line in self.lines:
            fields = split_fields(line, self.min_fields)
            if len(fields) >= self.min_fields:
                self.read_row(fields, records)
        for address in sorted(self.entry_targets):
            for edge in self.edges_by_from.get(address, []):
                edge.is_entry = True
        for address in sorted(self.return_sources):
            for edge in self.edges_by_to.get(address, []):
                edge.is_exit = True
        for (file_name, name), estimates in sorted(self.function_totals.items()):
            records.find_or_create_record(file_name, name).add_exec_count(max(estimates))
        records.add_runs(1)
        return True

    def read_row(self, fields, records):
        def text(column):
            return fields[self.columns[column]]

        def number(column):
            return parse_int_field(cut_at_nul(text(column)))

        def pair(kind):
            if not self.has[kind]:
                return 0, 0
            return number(OPTIONAL_PAIRS[kind][0]), number(OPTIONAL_PAIRS[kind][1])

        from_file = cut_at_nul(text(b"FromSourceFile"))
        raw_from_name = cut_at_nul(text(b"FromFunctionMangled"))
        raw_to_name = cut_at_nul(text(b"DestinationFunctionMangled"))
        from_name = normalise(raw_from_name)
        count = parse_count(cut_at_nul(text(b"HitCount")))
        from_line = number(b"FromSourceLine")
        from_address = parse_hex_u64(cut_at_nul(text(b"FromAddress")))
        to_address = parse_hex_u64(cut_at_nul(text(b"DestinationEndOfBlockAddress")))
        to_line = number(b"DestinationSourceLine")
        record = records.find_or_create_record(from_file, from_name)
        from_relative, to_relative = pair("offset_lines")
        from_column, to_column = pair("columns")
        if from_column != 0 or to_column != 0:
            record.uses_columns = True
        from_discriminator, to_discriminator = pair("discriminators")
        if from_discriminator != 0 or to_discriminator != 0:
            record.uses_discriminators = True
        totals_key = (from_file, from_name)

        if raw_from_name == raw_to_name:
            if from_line == NO_LINE or to_line == NO_LINE:
                return
            edge = record.add_edge(
                from_address,
                make_position(from_line, from_relative, from_column, from_discriminator),
                to_address,
                make_position(to_line, to_relative, to_column, to_discriminator), count)
            self.edges_by_from.setdefault(from_address, []).append(edge)
            self.edges_by_to.setdefault(to_address, []).append(edge)
            if b"EntryBlock" in self.columns and text(b"EntryBlock") == b"yes":
                edge.is_entry = True
                self.add_total(totals_key, 1, count)
            return

        branch = text(b"TypeOfBranch")
        if branch in (b"Call", b"IndCall", b"Jump", b"IndJump") and raw_to_name != b"NA":
            to_name = normalise(raw_to_name)
            to_file = cut_at_nul(text(b"DestinationSourceFile"))
            record.add_call(to_name, from_line, from_relative, count)
            records.find_or_create_record(to_file, to_name)
            self.add_total((to_file, to_name), 0, count)
            self.entry_targets.add(to_address)
        elif branch == b"Ret":
            self.return_sources.add(from_address)
            self.add_total(totals_key, 2, count)

    def add_total(self, key, which, count):
        totals = self.function_totals.setdefault(key, [0, 0, 0])
        totals[which] = (totals[which] + count) & MASK_64


# --- SQLite -------------------------------------------------------------------------------------

SQLITE_ROW = 100
SQLITE_DONE = 101
READ_ONLY, READ_WRITE, READ_WRITE_CREATE = 0x1, 0x2, 0x2 | 0x4
COPY_THE_TEXT = ctypes.c_void_p(-1)


def load_sqlite():
    """The C library itself: its conversions of a cell are part of what is compared."""
    try:
        library = ctypes.CDLL("libsqlite3.so.0")
    except OSError:
        library = ctypes.CDLL(ctypes.util.find_library("sqlite3"))
    pointer, text, integer = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int
    to = ctypes.POINTER
    for name, result, arguments in [
            ("open_v2", integer, [text, to(pointer), integer, text]),
            ("close", integer, [pointer]),
            ("exec", integer, [pointer, text, pointer, pointer, to(pointer)]),
            ("free", None, [pointer]),
            ("prepare_v2", integer, [pointer, text, integer, to(pointer), pointer]),
            ("step", integer, [pointer]),
            ("reset", integer, [pointer]),
            ("clear_bindings", integer, [pointer]),
            ("finalize", integer, [pointer]),
            ("bind_text", integer, [pointer, integer, text, integer, pointer]),
            ("bind_int", integer, [pointer, integer, integer]),
            ("bind_int64", integer, [pointer, integer, ctypes.c_int64]),
            ("column_text", text, [pointer, integer]),
            ("column_int", integer, [pointer, integer]),
            ("column_int64", ctypes.c_int64, [pointer, integer]),
            ("get_table", integer, [pointer, text, to(to(text)), to(integer), to(integer),
                                    to(pointer)]),
            ("free_table", None, [to(text)])]:
        function = getattr(library, "sqlite3_" + name)
        function.restype = result
        function.argtypes = arguments
    return library


SQLITE = load_sqlite()


def take_error_text(pointer):
    """The text that an error parameter points to, which is freed; nothing if there is none."""
    if not pointer.value:
        return None
    text = ctypes.string_at(pointer.value)
    SQLITE.sqlite3_free(pointer)
    return text


class Statement:
    def __init__(self):
        self.handle = ctypes.c_void_p()

    def prepare(self, connection, sql):
        return SQLITE.sqlite3_prepare_v2(connection, sql, -1, ctypes.byref(self.handle), None) == 0

    def step(self):
        return SQLITE.sqlite3_step(self.handle)

    def reset(self):
        SQLITE.sqlite3_clear_bindings(self.handle)
        SQLITE.sqlite3_reset(self.handle)

    def finalize(self):
        SQLITE.sqlite3_finalize(self.handle)
        self.handle = ctypes.c_void_p()

    def text(self, column):
        return SQLITE.sqlite3_column_text(self.handle, column)

    def int32(self, column):
        return SQLITE.sqlite3_column_int(self.handle, column)

    def int64(self, column):
        return SQLITE.sqlite3_column_int64(self.handle, column)


# --- Sample database ----------------------------------------------------------------------------

DB_OPEN_OK, DB_OPEN_CANNOT_OPEN, DB_OPEN_INCOMPATIBLE, DB_OPEN_SCHEMA_ERROR = range(4)

CREATE_TABLES = [
    (b"CREATE TABLE sf_version (sf_key TEXT, sf_value TEXT)",
     b"Failed to create version info table\n"),
    (b"CREATE TABLE sf_run_info (sf_key TEXT, sf_value TEXT)",
     b"Failed to create run info table\n"),
    (b"CREATE TABLE sf_filenames (sf_id INTEGER PRIMARY KEY, sf_filename TEXT)",
     b"Failed to create filenames table\n"),
    (b"CREATE TABLE sf_functions (sf_id INTEGER PRIMARY KEY, sf_func_name TEXT, "
     b"sf_file_id INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)",
     b"Failed to create functions table\n"),
    (b"CREATE TABLE sf_edges (sf_from_func_id INTEGER, sf_from_address INTEGER, "
     b"sf_from_abs_line INTEGER, sf_from_rel_line INTEGER, sf_from_column INTEGER, "
     b"sf_from_discr INTEGER, sf_to_func_id INTEGER, sf_to_bb_end_address INTEGER, "
     b"sf_to_abs_line INTEGER, sf_to_rel_line INTEGER, sf_to_column INTEGER, "
     b"sf_to_discr INTEGER, sf_exec_count INTEGER, sf_flags INTEGER)",
     b"Failed to create edges table\n"),
    (b"CREATE TABLE sf_calls (sf_from_func_id INTEGER, sf_from_abs_line INTEGER, "
     b"sf_from_rel_line INTEGER, sf_to_func_name TEXT, sf_exec_count INTEGER)",
     b"Failed to create calls table\n"),
]

CREATE_INDEXES = [
    (b"CREATE INDEX idx1 ON sf_edges(sf_from_func_id)",
     b"Failed to create 'edges' index on 'func_id'.\n"),
    (b"CREATE INDEX idx2 ON sf_calls(sf_from_func_id)",
     b"Failed to create 'calls' index on 'func_id'.\n"),
]

VERSION_ROWS = [
    (b"schema_version", 1),
    (b"filename_columns", 2),
    (b"functions_columns", 5),
    (b"edges_columns", 14),
    (b"calls_columns", 5),
]

STATEMENTS = [  # in the order of preparation
    ("select_filename", b"SELECT * FROM sf_filenames WHERE sf_filename=?002"),
    ("select_function", b"SELECT * FROM sf_functions WHERE sf_func_name=?002 AND sf_file_id=?003"),
    ("select_edges", b"SELECT * FROM sf_edges WHERE sf_from_func_id=?001"),
    ("delete_edges", b"DELETE FROM sf_edges WHERE sf_from_func_id=?001"),
    ("select_calls", b"SELECT * FROM sf_calls WHERE sf_from_func_id=?001"),
    ("delete_calls", b"DELETE FROM sf_calls WHERE sf_from_func_id=?001"),
    ("insert_filename", b"INSERT INTO  sf_filenames (sf_filename) VALUES (?002)"),
    ("insert_function",
     b"INSERT INTO  sf_functions (sf_func_name, sf_file_id, sf_file_id, sf_exec_count, sf_flags) "
     b"VALUES (?002, ?003, ?003, ?004, ?005)"),
    ("insert_edge",
     b"INSERT INTO  sf_edges (sf_from_func_id, sf_from_address, sf_from_abs_line, "
     b"sf_from_rel_line, sf_from_column, sf_from_discr, sf_to_bb_end_address, sf_to_func_id, "
     b"sf_to_abs_line, sf_to_rel_line, sf_to_column, sf_to_discr, sf_exec_count, sf_flags) "
     b"VALUES (?001, ?002, ?003, ?004, ?005, ?006, ?008, ?007, ?009, ?010, ?011, ?012, ?013, "
     b"?014)"),
    ("insert_call",
     b"INSERT INTO  sf_calls (sf_from_func_id, sf_from_abs_line, sf_from_rel_line, "
     b"sf_to_func_name, sf_exec_count) VALUES (?001, ?002, ?003, ?004, ?005)"),
    ("update_function", b"UPDATE sf_functions SET sf_exec_count=?004 WHERE sf_id=?001"),
]


class SampleDB:
    def __init__(self, run):
        self.run = run
        self.connection = None
        self.begin = Statement()
        self.end = Statement()
        self.statements = {name: Statement() for name, _ in STATEMENTS}
        self.versions = []
        self.record_set = None
        run.databases.append(self)

    # Opening and closing

    def open_connection(self, path, mode):
        """DB_OPEN_OK, DB_OPEN_CANNOT_OPEN or DB_OPEN_SCHEMA_ERROR."""
        self.connection = ctypes.c_void_p()
        result = SQLITE.sqlite3_open_v2(path, ctypes.byref(self.connection), mode, None)
        self.run.trace(TRACE_DB_CALLS, b"DatabaseHandle::open(%s) : 0x%x "
                       % (path, self.connection.value or 0))
        self.run.trace(TRACE_DB_CALLS,
                       b"Result = %s\n" % (b"SUCCESS" if result == 0 else b"FAILED"))
        if result != 0:
            self.close_connection()
            return DB_OPEN_CANNOT_OPEN
        if mode == READ_ONLY:
            return DB_OPEN_OK
        if not (self.prepare(self.begin, b"BEGIN TRANSACTION")
                and self.prepare(self.end, b"END TRANSACTION")):
            self.close_connection()
            return DB_OPEN_SCHEMA_ERROR
        return DB_OPEN_OK

    def close_connection(self):
        self.run.trace(TRACE_DB_CALLS, b"DatabaseHandle::close 0x%x" % (self.connection.value or 0))
        SQLITE.sqlite3_close(self.connection)
        self.connection = None

    def destroy(self):
        self.finalize_all()
        if self.connection is not None:
            self.close_connection()

    def abandon(self):
        """What the end of the process does to a connection: no traces, no commit."""
        self.finalize_all()
        if self.connection is not None:
            SQLITE.sqlite3_close(self.connection)
            self.connection = None

    def finalize_all(self):
        for statement in list(self.statements.values()) + [self.begin, self.end]:
            statement.finalize()

    def open_writable(self, record_set, path):
        self.record_set = record_set
        result = self.open_connection(path, READ_WRITE)
        if result == DB_OPEN_OK:
            self.read_db_version()
            if not self.is_compatible():
                self.run.trace(TRACE_DB_ERRORS, b"SampleDB::open_writable(%s)" % path)
                self.run.trace(TRACE_DB_ERRORS, b": Error due to incompatible schema\n")
                return DB_OPEN_INCOMPATIBLE
        elif result == DB_OPEN_CANNOT_OPEN:
            result = self.open_connection(path, READ_WRITE_CREATE)
            if result != DB_OPEN_OK:
                return result
            if not self.create_schema():
                self.run.trace(TRACE_DB_ERRORS, b"SampleDB::open_writable(%s)" % path)
                self.run.trace(TRACE_DB_ERRORS, b": Error while creating schema\n")
                return DB_OPEN_SCHEMA_ERROR
        else:
            return DB_OPEN_SCHEMA_ERROR
        self.apply_pragmas()
        return DB_OPEN_OK if self.prepare_statements() else DB_OPEN_SCHEMA_ERROR

    def open_readonly(self, path):
        result = self.open_connection(path, READ_ONLY)
        if result != DB_OPEN_OK:
            return result
        self.read_db_version()
        if not self.is_compatible():
            return DB_OPEN_INCOMPATIBLE
        return DB_OPEN_OK if self.prepare_statements() else DB_OPEN_SCHEMA_ERROR

    # The conversation with SQLite

    def prepare(self, statement, sql):
        self.run.trace(TRACE_DB_CALLS, b"init_sql_statement: %s\n\n" % sql)
        if statement.prepare(self.connection, sql):
            return True
        self.run.trace(TRACE_DB_ERRORS, b"FAILED in: init_sql_statement: %s\n" % sql)
        return False

    def prepare_statements(self):
        for name, sql in STATEMENTS:
            # The result of this one preparation isn't looked at.
            if not self.prepare(self.statements[name], sql) and name != "insert_function":
                return False
        return True

    def exec_sql(self, sql):
        self.run.trace(TRACE_DB_CALLS, b"Executing DB CMD: %s\n" % sql)
        error = ctypes.c_void_p()
        result = SQLITE.sqlite3_exec(self.connection, sql, None, None, ctypes.byref(error))
        error_text = take_error_text(error)
        if result != 0 and error_text is not None:
            self.run.trace(TRACE_DB_ERRORS, b"SQL error: %s\n" % error_text)
            return False
        return True

    def bind_text(self, statement, index, value):
        self.check_bind(SQLITE.sqlite3_bind_text(statement.handle, index + 1, value, -1,
                                                 COPY_THE_TEXT))

    def bind_uint64(self, statement, index, value):
        self.check_bind(SQLITE.sqlite3_bind_int64(statement.handle, index + 1, signed(value, 64)))

    def bind_uint32(self, statement, index, value):
        self.check_bind(SQLITE.sqlite3_bind_int(statement.handle, index + 1, signed(value, 32)))

    def bind_uint16(self, statement, index, value):
        self.check_bind(SQLITE.sqlite3_bind_int(statement.handle, index + 1, value & MASK_16))

    def check_bind(self, result):
        if result != 0:
            self.run.print_error(b"hotpath/sample_db:1 ASSERTX(rc == 0): "
                                 b"Internal error: Failed to bind data to stmt\n")
            raise ProgramEnd(1)

    def get_table(self, sql):
        """(rows, error text); the rows are absent if no table came back."""
        table = ctypes.POINTER(ctypes.c_char_p)()
        row_count, column_count, error = ctypes.c_int(), ctypes.c_int(), ctypes.c_void_p()
        SQLITE.sqlite3_get_table(self.connection, sql, ctypes.byref(table),
                                 ctypes.byref(row_count), ctypes.byref(column_count),
                                 ctypes.byref(error))
        error_text = take_error_text(error)
        if error_text is not None or not table:
            return None, error_text
        width = column_count.value
        rows = [[table[width * (row + 1) + column] for column in range(width)]
                for row in range(row_count.value)]
        SQLITE.sqlite3_free_table(table)
        return rows, None

    def max_column_value(self, table, column):
        statement = Statement()
        if not statement.prepare(self.connection, b"SELECT MAX(%s) FROM %s" % (column, table)):
            return None
        value = statement.int32(0) if statement.step() == SQLITE_ROW else None
        statement.finalize()
        return value

    # Schema and versions

    def create_schema(self):
        for sql, failure in CREATE_TABLES:
            if not self.exec_sql(sql):
                self.run.trace(TRACE_DB_ERRORS, failure)
                return False
        for key, value in VERSION_ROWS:
            self.add_value(b"sf_version", key, value)
        for sql, failure in CREATE_INDEXES:
            if not self.exec_sql(sql):
                self.run.trace(TRACE_DB_ERRORS, failure)
                return False
        return True

    def add_value(self, table, key, value):
        return self.exec_sql(b"INSERT INTO %s (sf_key, sf_value) VALUES('%s', '%d')"
                             % (table, key, value))

    def set_value(self, table, key, value):
        self.exec_sql(b"DELETE FROM %s WHERE sf_key='%s'" % (table, key))
        return self.add_value(table, key, value)

    def get_int_value(self, table, key):
        statement = Statement()
        statement.prepare(self.connection, b"SELECT * FROM %s WHERE sf_key='%s'" % (table, key))
        text = statement.text(1) if statement.step() == SQLITE_ROW else None
        statement.finalize()
        return -1 if not text else atoi(text)

    def read_db_version(self):
        self.versions = [self.get_int_value(b"sf_version", key) & 0xFF for key, _ in VERSION_ROWS]
        self.run.trace(TRACE_DB_CALLS, b"read_db_version()\n")
        for name, value in zip([b"m_schema_version", b"m_filenames_tbl_col_cnt",
                                b"m_functions_tbl_col_cnt", b"m_edges_tbl_col_cnt",
                                b"m_calls_tbl_col_cnt"], self.versions):
            self.run.trace(TRACE_DB_CALLS, b"  %s: %d\n" % (name, value))

    def is_compatible(self):
        return self.versions == [value for _, value in VERSION_ROWS]

    def apply_pragmas(self):
        if self.run.environment.get(b"HOTPATH_DB_MODE") == b"FAILSAFE_MODE":
            return
        self.exec_sql(b"PRAGMA synchronous = OFF")
        self.exec_sql(b"PRAGMA journal_mode = MEMORY")

    # Loading

    def read_function_records(self, records, proxies):
        run_count = self.get_int_value(b"sf_run_info", b"num_runs")
        if run_count != -1:
            records.add_runs(run_count)
        file_table = self.load_filenames_table()
        if file_table is None:
            return False
        file_names, file_count = file_table
        rows, error_text = self.get_table(b"SELECT * FROM sf_functions")
        if rows is None:
            self.run.trace(TRACE_DB_ERRORS, b"SampleDB::read_function_records: ")
            self.run.trace(TRACE_DB_ERRORS, b"SQL error : %s\n" % (error_text or b"<UNKNOWN>"))
            return False
        for row in rows:
            if not self.load_function(row, file_names, file_count, records, proxies):
                return False
        return True

    def load_function(self, row, file_names, file_count, records, proxies):
        cells = [cell or b"" for cell in row] + [b""] * 5
        function_id = atoi(cells[0]) & MASK_32
        function_name = cells[1]
        file_id = atoi(cells[2]) & MASK_32
        exec_count = decimal_prefix(cells[3]) & MASK_64
        flags = decimal_prefix(cells[4])
        if file_id >= file_count:
            self.run.trace(TRACE_DB_ERRORS,
                           b"Database corrupt. Invalid file_id for %s\n" % function_name)
            self.run.trace(TRACE_DB_ERRORS, b"Max file id expected was %d" % file_count)
            self.run.trace(TRACE_DB_ERRORS, b" File id was %d\n" % file_id)
            return False
        file_name = file_names.get(file_id, b"")
        self.run.trace(TRACE_DB_LOAD, b"Load function: %s(%s)" % (file_name, function_name))
        if proxies:
            proxy = records.find_or_create_proxy(file_name, function_name, self, function_id)
            proxy.exec_count = exec_count
            proxy.flags = flags
            self.run.trace(TRACE_DB_LOAD, b": proxy created\n")
            return True
        record = records.find_or_create_record(file_name, function_name)
        record.add_exec_count(exec_count)
        if flags & 1:
            record.uses_discriminators = True
        if flags & 2:
            record.uses_columns = True
        self.load_function_details(function_id, record)
        self.run.trace(TRACE_DB_LOAD, b": full record loaded created\n")
        return True

    def load_filenames_table(self):
        """(names by id, size of the table), or nothing."""
        largest = self.max_column_value(b"sf_filenames", b"sf_id")
        if largest is None:
            return None
        file_count = (largest & MASK_32) + 1
        rows, error_text = self.get_table(b"SELECT * FROM sf_filenames")
        if rows is None:
            self.run.trace(TRACE_DB_ERRORS, b"SampleDB::load_filenames_table: ")
            self.run.trace(TRACE_DB_ERRORS, b"SQL error: %s\n" % (error_text or b"<UNKNOWN>"))
            return None
        file_names = {}
        for row in rows:
            cells = [cell or b"" for cell in row] + [b""] * 2
            file_names[atoi(cells[0]) & MASK_32] = cells[1]
        return file_names, file_count

    def load_function_details(self, function_id, record):
        self.load_edges(function_id, record)
        self.load_calls(function_id, record)

    def load_edges(self, function_id, record):
        select = self.statements["select_edges"]
        self.bind_uint32(select, 0, function_id)
        while select.step() == SQLITE_ROW:
            from_position = make_position(*[select.int32(column) for column in (2, 3, 4, 5)])
            to_position = make_position(*[select.int32(column) for column in (8, 9, 10, 11)])
            # A stored count keeps only its low 32 bits, with their sign.
            count = select.int32(12) & MASK_64
            edge = record.add_edge(select.int64(1) & MASK_64, from_position,
                                   select.int64(7) & MASK_64, to_position, count)
            flags = select.int32(13)
            edge.is_entry = bool(flags & 1)
            edge.is_exit = bool(flags & 2)
        select.reset()

    def load_calls(self, function_id, record):
        select = self.statements["select_calls"]
        self.bind_uint32(select, 0, function_id)
        while select.step() == SQLITE_ROW:
            callee_name = select.text(3)
            if callee_name is None:
                self.run.trace(TRACE_DB_ERRORS, b"Corrupted DB:")
                self.run.trace(TRACE_DB_ERRORS, b" Callee name missing for function.")
                self.run.trace(TRACE_DB_ERRORS, b" func_id = %d\n" % function_id)
                continue
            record.add_call(callee_name, select.int32(1) & MASK_32, select.int32(2) & MASK_32,
                            select.int64(4) & MASK_64)
        select.reset()

    # Storing

    def find_file_id(self, name):
        select = self.statements["select_filename"]
        self.bind_text(select, 1, name)
        value = select.int32(0) & MASK_32 if select.step() == SQLITE_ROW else None
        select.reset()
        return value

    def add_file(self, name):
        insert = self.statements["insert_filename"]
        self.bind_text(insert, 1, name)
        result = insert.step()
        insert.reset()
        return self.find_file_id(name) if result == SQLITE_DONE else None

    def find_function_id(self, name, file_id):
        select = self.statements["select_function"]
        self.bind_text(select, 1, name)
        self.bind_uint32(select, 2, file_id)
        value = select.int32(0) & MASK_32 if select.step() == SQLITE_ROW else None
        select.reset()
        return value

    def insert_function_record(self, record):
        names = (record.file_name, record.function_name)
        self.run.trace(TRACE_DB_STORE, b"Insert function: %s(%s)\n" % names)
        file_id = self.find_file_id(record.file_name)
        if file_id is None:
            file_id = self.add_file(record.file_name)
        if file_id is None:
            self.run.trace(TRACE_DB_ERRORS, b"SampleDB::insert_function_record: %s(%s)" % names)
            self.run.trace(TRACE_DB_ERRORS, b"Inserting filename failed\n")
            return False
        insert = self.statements["insert_function"]
        self.bind_text(insert, 1, record.function_name)
        self.bind_uint32(insert, 2, file_id)
        self.bind_uint64(insert, 3, record.exec_count)
        self.bind_uint64(insert, 4, record.function_flags())
        insert.step()
        insert.reset()
        function_id = self.find_function_id(record.function_name, file_id)
        if function_id is None:
            self.run.trace(TRACE_DB_ERRORS, b"SampleDB::insert_function_record: %s(%s)" % names)
            self.run.trace(TRACE_DB_ERRORS, b": Inserting function failed\n")
            return False
        return self.insert_edges(function_id, record) and self.insert_calls(function_id, record)

    def update_function_record(self, function_id, record):
        self.run.trace(TRACE_DB_STORE, b"Update function: %s(%s)\n"
                       % (record.file_name, record.function_name))
        for name in ("delete_edges", "delete_calls"):
            delete = self.statements[name]
            self.bind_uint32(delete, 0, function_id)
            result = delete.step()
            delete.reset()
            if result != SQLITE_DONE:
                return False
        update = self.statements["update_function"]
        self.bind_uint32(update, 0, function_id)
        self.bind_uint64(update, 3, record.exec_count)
        result = update.step()
        update.reset()
        if result != SQLITE_DONE:
            return False
        return self.insert_edges(function_id, record) and self.insert_calls(function_id, record)

    def insert_edges(self, function_id, record):
        insert = self.statements["insert_edge"]
        for edge in record.edges_by_line():
            from_position, to_position = edge.from_position, edge.to_position
            self.bind_uint32(insert, 0, function_id)
            self.bind_uint64(insert, 1, edge.from_address)
            self.bind_uint32(insert, 2, from_position.line)
            self.bind_uint32(insert, 3, from_position.relative_line)
            self.bind_uint16(insert, 4, from_position.column)
            self.bind_uint16(insert, 5, from_position.discriminator)
            self.bind_uint32(insert, 6, function_id)
            self.bind_uint64(insert, 7, edge.to_address)
            self.bind_uint32(insert, 8, to_position.line)
            self.bind_uint32(insert, 9, to_position.relative_line)
            self.bind_uint16(insert, 10, to_position.column)
            self.bind_uint16(insert, 11, to_position.discriminator)
            self.bind_uint64(insert, 12, edge.exec_count)
            self.bind_uint64(insert, 13, edge.flags())
            result = insert.step()
            insert.reset()
            if result != SQLITE_DONE:
                return False
        return True

    def insert_calls(self, function_id, record):
        insert = self.statements["insert_call"]
        for (callee_name, line), (relative_line, count) in sorted(record.calls.items()):
            self.bind_uint32(insert, 0, function_id)
            self.bind_uint32(insert, 1, line)
            self.bind_uint32(insert, 2, relative_line)
            self.bind_text(insert, 3, callee_name)
            self.bind_uint64(insert, 4, count)
            insert.step()
            insert.reset()
        return True

    # Merging

    def merge_records(self, input_records):
        if not self.read_function_records(self.record_set, True):
            return False
        run_count = self.record_set.num_runs + input_records.num_runs
        self.set_value(b"sf_run_info", b"num_runs", signed(run_count, 32))
        database_was_empty = not self.record_set.records_by_key
        self.begin.step()
        succeeded = True
        for source in input_records.in_key_order():
            succeeded = self.merge_function(source, database_was_empty)
            if not succeeded:
                break
        self.end.step()
        return succeeded

    def merge_function(self, source, database_was_empty):
        target = None
        if not database_was_empty:
            target = self.record_set.find_record(source.file_name, source.function_name)
        if target is None:
            if not self.insert_function_record(source):
                self.run.trace(TRACE_DB_ERRORS, b"Error while inserting function.\n")
                return False
            return True
        target.merge(source)
        if not self.update_function_record(target.proxy.function_id, target):
            self.run.trace(TRACE_DB_ERRORS, b"Error while updating function.\n")
            return False
        return True


# --- Input list ---------------------------------------------------------------------------------


def list_tokens(text):
    """
    >>> list_tokens(b";a;;b;"), list_tokens(b"a;b;;"), list_tokens(b";"), list_tokens(b"")
    ([b'a', b'b'], [b'a', b'b', b''], [b''], [])
    >>> list_tokens(b'"a;b";c'), list_tokens(b"'a;b';c"), list_tokens(b'"a;b')
    ([b'"a;b"', b'c'], [b"'a;b'", b'c'], [b'"a', b'b'])
    >>> list_tokens(b"a\\\\;b"), list_tokens(b'"a;b"x"c')
    ([b'a\\\\', b'b'], [b'"a', b'b"x"c'])
    """
    tokens = []
    cursor = 0
    while cursor < len(text):
        token, cursor = next_token(text, cursor)
        tokens.append(token)
    return tokens


def next_token(text, cursor):
    """The token and the place after it."""
    while text[cursor:cursor + 1] == b";":
        cursor += 1
    start = cursor
    if start == len(text):
        return b"", start
    quote = None
    escaped = False
    first_inner_delimiter = None
    here = start
    while here < len(text):
        character = text[here:here + 1]
        # The first character is never a delimiter, so the two cases need no order there.
        if character == b";":
            if quote is None:
                return text[start:here], here + 1
            if first_inner_delimiter is None:
                first_inner_delimiter = here
            escaped = False
        elif escaped:
            escaped = False
        elif character == b'"' and quote != "single":
            quote = None if quote == "double" else "double"
        elif character == b"'" and quote != "double":
            quote = None if quote == "single" else "single"
        elif character == b"\\":
            escaped = True
        here += 1
    if quote is not None and first_inner_delimiter is not None:
        return text[start:first_inner_delimiter], first_inner_delimiter + 1
    return text[start:], len(text)


def strip_token(token):
    """
    >>> strip_token(b'"a\\\\"b"'), strip_token(b'"a\\\\\\\\b"'), strip_token(b'""')
    (b'a"b', b'a\\\\b', b'')
    >>> strip_token(b'"C:\\\\dir\\\\f"'), strip_token(b'"C:\\\\dir\\\\"'), strip_token(b'"')
    (b'C:\\\\dir\\\\f', b'C:\\\\dir\\\\', b'"')
    """
    if len(token) < 2 or token[:1] != b'"' or token[-1:] != b'"':
        return token
    text = token[1:-1]
    result = b""
    at = 0
    while at < len(text):
        if text[at:at + 1] == b"\\" and text[at + 1:at + 2] in (b"\\", b'"', b"'"):
            at += 1
        result += text[at:at + 1]
        at += 1
    return result


# --- The run ------------------------------------------------------------------------------------


class ProgramEnd(Exception):
    def __init__(self, status):
        super().__init__(status)
        self.status = status


OPTIONS = {  # word to whether it takes a value
    b"append": True, b"dump": False, b"file": True, b"help": False, b"nologo": False,
    b"out": True, b"quiet": False, b"sort": True, b"trace": True,
}


def option_word(argument):
    """
    >>> [option_word(a) for a in (b"-x", b"-", b"--x", b"/x", b"/", b"//x", b"x", b"")]
    [b'x', b'', b'-x', b'x', b'', None, None, None]
    """
    if argument[:1] == b"-":
        return argument[1:]
    if argument[:1] == b"/" and argument[1:2] != b"/":
        return argument[1:]
    return None


class Run:
    """One run of the tool: its options, its output so far and the databases that it opened."""

    def __init__(self, arguments, environment):
        self.arguments = arguments
        self.environment = environment
        self.out = []
        self.err = []
        self.databases = []
        self.options = {b"append": None, b"dump": 0, b"file": None, b"help": 0, b"nologo": 0,
                        b"out": None, b"quiet": 0, b"sort": b"L", b"trace": 0}
        self.trace_flags = 0

    # Talk

    def print_error(self, text):
        self.err.append(text)

    def trace(self, bit, text):
        if self.trace_flags & bit:
            self.print_error(text)

    def report(self, word, message, *fill_ins):
        number, text = MESSAGES[message]
        self.print_error(b"%s #%d: %s\n" % (word, number, text % fill_ins))

    def report_fatal(self, message, *fill_ins):
        self.report(b"error", message, *fill_ins)
        raise ProgramEnd(1)

    def print_banner(self):
        self.print_error(VERSION_LINE + RIGHTS_LINE + b"\n")

    def usage_error(self, message, *fill_ins):
        self.report(b"error", message, *fill_ins)
        self.print_banner()
        self.print_error(b"Usage: %s\n" % self.arguments[0])
        self.print_error(USAGE_OPTIONS + b"\n")
        raise ProgramEnd(1)

    # Options and the choice of action

    def main(self):
        self.parse_options()
        if not self.options[b"nologo"]:
            self.print_banner()
        if self.options[b"help"]:
            self.print_error(b"Help: %s\n" % self.arguments[0])
            self.print_error(HELP_OPTIONS + b"\n")
            raise ProgramEnd(1)
        self.trace_flags = self.options[b"trace"]
        if self.options[b"file"] is None:
            self.report_fatal("PT_edgefold_no_files")
        if self.options[b"out"] is not None:
            if self.options[b"append"] is not None:
                self.report_fatal("PT_edgefold_cannot_out_and_append")
            self.merge_action(self.options[b"out"], True)
        elif self.options[b"append"] is not None:
            self.merge_action(self.options[b"append"], False)
        elif self.options[b"dump"]:
            self.dump_action()
        else:
            self.report_fatal("PT_edgefold_no_action")

    def parse_options(self):
        at = 1
        while at < len(self.arguments):
            word = option_word(self.arguments[at])
            if word is None:
                return
            if word not in OPTIONS:
                self.usage_error("CLI_unknown_option", b"/", word)
            if not OPTIONS[word]:
                self.options[word] = 1
                at += 1
                continue
            if at + 1 >= len(self.arguments) or option_word(self.arguments[at + 1]) is not None:
                self.usage_error("CLI_option_missing_value", b"/", word)
            value = self.arguments[at + 1]
            self.options[word] = (parse_trace_value(value) & MASK_32 if word == b"trace" else value)
            at += 2

    # Inputs

    def read_input_list(self, records):
        count = 0
        for token in list_tokens(self.options[b"file"]):
            path = strip_token(token)
            status = self.load_input(records, path)
            if status == 2:
                count += 1
            elif status == 1:
                self.report(b"warning", "PT_cannot_read_samples", path)
            else:
                self.report(b"warning", "PT_cannot_open_file", path)
        return count

    def load_input(self, records, path):
        """2 if the input was read, 1 if its samples can't be read, 0 if it can't be opened."""
        if not os.access(path, os.R_OK):
            return 0
        reader = open_edge_reader(path)
        if reader is not None:
            return 2 if reader.read_function_records(records) else 1
        database = SampleDB(self)
        if database.open_readonly(path) != DB_OPEN_OK:
            database.destroy()
            return 1
        # An input database stays open until the process ends.
        return 2 if database.read_function_records(records, False) else 1

    # Actions

    def merge_action(self, path, must_be_new):
        if os.access(path, os.R_OK) and must_be_new:
            self.report_fatal("PT_edgefold_output_exists", path)
        input_records = FunctionRecordSet()
        database = SampleDB(self)
        database_records = FunctionRecordSet()
        count = self.read_input_list(input_records)
        if count != 0:
            result = database.open_writable(database_records, path)
            if result == DB_OPEN_CANNOT_OPEN:
                self.report_fatal("PT_cannot_open_output_file", path)
            if result == DB_OPEN_INCOMPATIBLE:
                self.report_fatal("PT_edgefold_incompatible_file_format", path)
            if result != DB_OPEN_OK:
                self.report_fatal("PT_edgefold_internal_error")
            if not database.merge_records(input_records):
                self.report_fatal("PT_edgefold_internal_error")
            if self.options[b"dump"]:
                self.dump_report(input_records)
        if not self.options[b"quiet"]:
            self.report(b"remark", "PT_edgefold_merged_files", count)
        database.destroy()

    def dump_action(self):
        records = FunctionRecordSet()
        self.read_input_list(records)
        self.dump_report(records)

    def dump_report(self, records):
        self.out.append(b"Sampling merge header:Input file count: %d\n"
                        % signed(records.num_runs, 32))
        for record in records.in_key_order():
            self.out.append(b"-" * 71 + b"\n")
            self.out.append(b"FILE:         %s\n" % record.file_name)
            self.out.append(b"ENTRY:        %s\n\n" % record.function_name)
            self.out.append(b"Edge data counts:\n\n")
            self.out.append(b"    StartAddr           EndAddr         "
                            b"StartPosition   EndPosition          Count\n")
            for edge in sort_edges(record.edges_by_line(), self.options[b"sort"]):
                self.out.append(b"    0x08%x\t0x08%x\t%s\t%s\t%12s\n" % (
                    edge.from_address, edge.to_address, edge.from_position.format_short(),
                    edge.to_position.format_short(), grouped(edge.exec_count)))
            self.out.append(b"\nFunction call counts:\n\n")
            if record.calls:
                self.out.append(b"    SourceLine       Count      Function\n")
                for (callee_name, line), (_, count) in sorted(record.calls.items()):
                    self.out.append(b"    %4d        %12s    %s\n"
                                    % (line, grouped(count), callee_name))
                self.out.append(b"\n")


def sort_kind(sort_text):
    """A, C or L, and whether the order is descending.

    >>> sort_kind(b"a-x"), sort_kind(b"C"), sort_kind(b"X-"), sort_kind(b"")
    ((b'A', True), (b'C', False), (b'L', True), (b'L', False))
    """
    letter = upper_case(sort_text[:1])
    return (letter if letter in (b"A", b"C") else b"L"), sort_text[1:2] == b"-"


def sort_edges(edges, sort_text):
    letter, descending = sort_kind(sort_text)
    if letter == b"A":
        return sorted(edges, key=lambda e: (e.from_address, e.to_address), reverse=descending)
    if letter == b"C":
        return sorted(edges, key=lambda e: (e.exec_count, e.from_address, e.to_address),
                      reverse=descending)
    # Edges of one position have no order among them; reverse keeps theirs.
    return sorted(edges, key=lambda e: e.from_position.location(), reverse=descending)


def run_tool(arguments, environment):
    """Runs one command line in the working directory; arguments and environment are bytes.

    Gives the exit status, the standard output and the standard error.
    """
    run = Run(arguments, environment)
    try:
        run.main()
        status = 0
    except ProgramEnd as end:
        status = end.status
    finally:
        for database in run.databases:
            database.abandon()
    return status, b"".join(run.out), b"".join(run.err)


def main():
    status, out, err = run_tool([os.fsencode(argument) for argument in sys.argv], os.environb)
    sys.stdout.buffer.write(out)
    sys.stdout.buffer.flush()
    sys.stderr.buffer.write(err)
    sys.stderr.buffer.flush()
    sys.exit(status)


if __name__ == "__main__":
    main()
