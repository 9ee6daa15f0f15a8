#!/usr/bin/env python3
"""Holds docs/manual.md against the sources: its options, and each numbered message that the program
can print, in the words and with the number that it is printed with."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"
MANUAL = (ROOT / "docs/manual.md").read_text(encoding="utf-8")

# The word in front of a message, by the operation or the severity that prints it.
WORDS = {"fatal": "error", "usage_error": "error", "warning": "warning", "remark": "remark",
         "error": "error", "warning_cmdline": "command line warning"}


# Rows that no line shows with a number, though they are no mere texts.
UNNUMBERED = {
    "DIAG_cannot_get_wchar_str_size",  # conversions that can't fail: all text is UTF-8
    "DIAG_cannot_get_char_str_size",
    "DIAG_out_of_memory",              # a catastrophic error, which shows none
    "PT_edgefold_dump_separator_tag",  # a line of the report
}


def section(title):
    return re.search(r"^## %s\n(.*?)(?=^## )" % title, MANUAL, flags=re.M | re.S)[1]


def terms(text):
    """The first lines of the items, each of which names what the item explains."""
    return re.findall(r"^- `(.*)`\\$", text, flags=re.M)


def catalogue():
    """Number and text of each row of the message catalogue that isn't a mere text, by its name."""
    source = (SOURCES / "diag/message_catalogue.cpp").read_text(encoding="utf-8")
    rows = re.findall(r"^    ROW\((\w+), (\d+), \w+, (\w+),\s+(.*?)\),$", source,
                      flags=re.M | re.S)
    return {name: (number, "".join(re.findall(r'"(.*?)"', text)))
            for name, number, severity, text in rows if severity != "text"}


def reports():
    """Word and name of each message that the sources report with a number."""
    for path in sorted(SOURCES.rglob("*.cpp")):
        source = path.read_text(encoding="utf-8")
        for call in re.finditer(r"\breport_(fatal|usage_error|warning|remark|message)\(([^;]*?)"
                                r"\b((?:DIAG|PT|CLI)_\w+)", source):
            operation, before, name = call.groups()
            severity = re.search(r"Severity::(\w+)", before)
            yield WORDS[severity[1] if operation == "message" else operation], name


def printed_messages():
    """Each message as a pattern of its line, where a fill-in is a word in capitals."""
    rows = catalogue()
    for word, name in sorted(set(reports())):
        number, text = rows[name]
        line = re.escape("%s #%s: %s" % (word, number, text))
        # Of two fill-ins side by side the first is the option's fixed prefix.
        yield name, line.replace("%s%s", "/[A-Z]+").replace("%s", "[A-Z]+").replace("%d", "[A-Z]+")


class Manual(unittest.TestCase):
    def test_the_sources_report_each_message_of_the_catalogue(self):
        self.assertEqual({name for _, name in reports()} | UNNUMBERED, set(catalogue()))

    def test_each_message_stands_in_the_diagnostics(self):
        listed = terms(section("Diagnostics"))
        for name, pattern in printed_messages():
            with self.subTest(name):
                self.assertEqual(sum(bool(re.fullmatch(pattern, line)) for line in listed), 1,
                                 "items of docs/manual.md that read " + pattern)

    def test_each_numbered_diagnostic_is_one_that_the_program_prints(self):
        patterns = [pattern for _, pattern in printed_messages()]
        for line in terms(section("Diagnostics")):
            with self.subTest(line):
                self.assertTrue("#" not in line or any(re.fullmatch(p, line) for p in patterns),
                                "the program has no such message")

    def test_each_option_is_explained_once_in_alphabetical_order(self):
        table = (SOURCES / "edgefold/options.cpp").read_text(encoding="utf-8")
        options = re.findall(r'^    \{"(\w+)", OptionKind::', table, flags=re.M)
        self.assertEqual(len(options), 9)
        self.assertEqual([term.split()[0] for term in terms(section("Options"))],
                         ["-" + option for option in options])


if __name__ == "__main__":
    unittest.main()
