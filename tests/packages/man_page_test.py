"""The manual pages as they are installed: sound for both readers of manual pages, found by their
names, and true in their examples."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

from scratch_root import PROJECT, VERSION, installed_root, run, scratch_directory

PAGES = {"man1/edgefold.1.gz": "edgefold - merge sampled profiles into a sample database",
         "man1/edgescope.1.gz": "edgescope - show, check, compare and export sample databases",
         "man1/callgrind2edges.1.gz": "callgrind2edges - make an edge file of a recording by valgrind",
         "man1/perf2edges.1.gz": "perf2edges - make an edge file of branch stacks that perf recorded",
         "man1/check_edges.1.gz": "check_edges - tell which rows and hits of edge files will not count",
         "man7/edgefold-fleet.7.gz": "edgefold-fleet - merge the edge files of many runs as a tree",
         "man5/edgefold-edges.5.gz":
             "edgefold-edges - edge file: the sampled transfers of control of one run",
         "man5/edgefold-db.5.gz":
             "edgefold-db - sample database: merged counts of functions, edges and calls"}
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "FILES",
            "DIAGNOSTICS", "EXAMPLES", "NOTES", "BUGS", "SEE ALSO"]


def page_path(page):
    return installed_root().path / "usr/share/man" / page


def shown(page):
    return run(["man", "--warnings", "-l", page_path(page)],
               env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80", "MANPAGER": "cat"})


class ManPages(unittest.TestCase):
    def test_man_shows_them_without_a_warning(self):
        for page in PAGES:
            with self.subTest(page):
                text, warnings = shown(page)
                self.assertEqual(warnings, "")
                self.assertIn("edgefold " + VERSION, text.splitlines()[-1])

    def test_mandoc_has_nothing_to_warn_of(self):
        for page in PAGES:
            with self.subTest(page):
                # Below a warning there are matters of style: the length of a source's lines.
                result = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page_path(page)],
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_their_names_and_purposes_can_be_searched(self):
        for page, purpose in PAGES.items():
            self.assertIn('"%s"' % purpose, run(["lexgrog", page_path(page)])[0])

    def test_the_program_has_all_sections_that_a_user_looks_for(self):
        headings = re.findall(r"^([A-Z][A-Z ]+)$", shown("man1/edgefold.1.gz")[0], flags=re.M)
        self.assertEqual(headings, SECTIONS)

    def test_the_producers_pages_have_each_option(self):
        for program in ("callgrind2edges", "perf2edges", "check_edges"):
            with self.subTest(program):
                text, _ = run([installed_root().path / "usr/bin" / program, "--help"])
                told = set(re.findall(r"(?m)^  .*?(--[a-z-]+)", text[text.index("\nOptions:"):].split("\n\n")[0]))
                page = re.sub(r"\s+", " ", shown("man1/%s.1.gz" % program)[0])
                self.assertGreater(len(told), 2)
                self.assertEqual({option for option in told if option + " " not in page.replace(",", " ")}, set())

    def test_the_examples_work(self):
        directory = scratch_directory()
        recordings = ["fasttree.csv", "gtest-run1.csv", "minigzip.csv", "fasttree.csv",
                      "minigzip.csv"]
        for number, recording in enumerate(recordings, 1):
            shutil.copy(PROJECT / "examples" / recording, directory / ("run%d.csv" % number))
        text = (PROJECT / "docs/manual.md").read_text(encoding="utf-8")
        examples = re.search(r"^## Examples\n(.*?)^## ", text, flags=re.M | re.S)[1]
        commands = [command.replace("\n> ", "\n") for command in
                    re.findall(r"^\$ (.*(?:\n> .*)*)$", examples, flags=re.M)]
        self.assertEqual(len(commands), 16)
        path = "%s:%s" % (installed_root().path / "usr/bin", os.environ["PATH"])
        for command in commands:
            if "other.db" in command:
                shutil.copy(directory / "app.db", directory / "other.db")
            run(["sh", "-c", command], cwd=directory, env={**os.environ, "PATH": path})
        self.assertEqual(run(["sqlite3", "app.db", "SELECT sf_value FROM sf_run_info"],
                             cwd=directory)[0], "7\n")
        self.assertIn("ENTRY:        longest_match\n",
                      pathlib.Path(directory / "report.txt").read_text())


if __name__ == "__main__":
    unittest.main()
