#!/usr/bin/env python3
"""Tests of the checks that the documents go through.

    docs_test.py
"""

import os
import pathlib
import tempfile
import unittest

import check_links
import run_document


class RunDocument(unittest.TestCase):
    def problems(self, text):
        with tempfile.TemporaryDirectory() as place:
            document = pathlib.Path(place) / "page.md"
            document.write_text(text)
            return run_document.check(document, place, os.environ["PATH"])

    def test_shown_output_is_compared(self):
        self.assertEqual(self.problems("```console\n$ echo one\none\n```\n"), [])
        self.assertEqual(self.problems("```console\n$ echo two\none\n```\n"),
                         ["line 2: echo two\nshown:\none\nprinted:\ntwo\n"])

    def test_further_output_is_a_difference(self):
        self.assertEqual(len(self.problems("```console\n$ printf 'a\\nb\\n'\na\n```\n")), 1)

    def test_blanks_at_the_end_are_not_compared(self):
        self.assertEqual(self.problems("```console\n$ printf 'a  \\n\\n'\na\n```\n"), [])

    def test_dots_stand_for_any_lines(self):
        self.assertEqual(self.problems("```console\n$ seq 9\n1\n...\n9\n```\n"), [])
        self.assertEqual(len(self.problems("```console\n$ seq 9\n1\n...\n8\n```\n")), 1)

    def test_failing_command_is_a_problem(self):
        self.assertEqual(self.problems("```sh\nfalse\n```\n"), ["line 1: exit status 1 of: false\n"])
        self.assertEqual(len(self.problems("```console\n$ false\n```\n")), 1)
        self.assertEqual(len(self.problems("```sh\nfalse\ntrue\n```\n")), 1)
        self.assertEqual(self.problems("```sh\nif false; then true; fi\n```\n"), [])

    def test_failure_that_is_shown_is_none(self):
        self.assertEqual(self.problems("```console\n$ echo no >&2; false\nno\n```\n"), [])

    def test_shell_goes_on_from_block_to_block(self):
        self.assertEqual(self.problems("```sh\nmkdir a; cd a; x=5\n```\n```console\n$ basename $PWD$x\na5\n```\n"), [])

    def test_commands_may_span_lines(self):
        self.assertEqual(self.problems("```console\n$ echo one \\\n> two\none two\n```\n"), [])

    def test_ended_shell_is_a_problem(self):
        self.assertEqual(self.problems("```console\n$ exit\n$ echo a\na\n```\n"),
                         ["line 2: the shell ended before: exit", "line 3: the shell ended before: echo a"])

    def test_block_marked_as_not_run_is_parsed(self):
        self.assertEqual(self.problems("<!-- not run: why -->\n```sh\nfalse\n```\n"), [])
        self.assertEqual(len(self.problems("<!-- not run: why -->\n```sh\nif\n```\n")), 1)

    def test_commands_of_a_comment_run_before_the_block(self):
        self.assertEqual(self.problems("<!-- first: echo one > a -->\n\n```console\n$ cat a\none\n```\n"), [])
        self.assertEqual(self.problems("<!-- first: false -->\n```sh\ntrue\n```\n"),
                         ["line 1: exit status 1 of: false\n"])

    def test_mark_holds_for_one_block(self):
        self.assertEqual(len(self.problems("<!-- not run: why -->\n```sh\nfalse\n```\n```sh\nfalse\n```\n")), 1)

    def test_commands_need_a_language(self):
        self.assertEqual(self.problems("```\n$ false\n```\n"),
                         ["line 1: commands in a block that isn't marked as console"])

    def test_sql_is_tried(self):
        self.assertEqual(self.problems("```sql\nCREATE TABLE t (a)\n```\n```sql\nSELECT a FROM t;\n```\n"), [])
        self.assertEqual(self.problems("```sql\nSELECT a FROM t;\n```\n"), ["line 1: no such table: t"])


class CheckLinks(unittest.TestCase):
    def problems(self, **pages):
        with tempfile.TemporaryDirectory() as place:
            for name, text in pages.items():
                (pathlib.Path(place) / (name + ".md")).write_text(text)
            return check_links.check(pathlib.Path(place))

    def test_links_to_files_and_headings_resolve(self):
        self.assertEqual(self.problems(a="[b](b.md) [c](b.md#two-words) [d](#here)\n# Here\n", b="# Two `words`!\n"),
                         (3, []))

    def test_missing_file_and_heading_are_problems(self):
        self.assertEqual(self.problems(a="[b](c.md) [c](b.md#three)", b="# Two\n"),
                         (2, ["a.md: c.md: no such file", "a.md: b.md#three: no such heading"]))

    def test_code_and_the_web_are_skipped(self):
        self.assertEqual(self.problems(a="`[b](c.md)` [w](https://example.org/x)\n```\n[b](c.md)\n```\n"), (1, []))

    def test_comments_in_code_are_no_headings(self):
        self.assertEqual(len(self.problems(a="[b](#note)\n```sh\n# Note\n```\n")[1]), 1)


if __name__ == "__main__":
    unittest.main()
