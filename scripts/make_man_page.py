#!/usr/bin/env python3
"""Makes a manual page, compressed, of a Markdown file whose title reads "# name(section) - purpose".

Usage: make_man_page.py --version VERSION --date DATE --output FILE.gz PAGE.md

lowdown translates the text; what stands here gives it the form of a manual page, and mends what the
readers of manual pages complain about.
"""

import argparse
import gzip
import pathlib
import re
import subprocess

VOLUMES = {"1": "User Commands", "5": "File Formats", "7": "Miscellaneous"}
LONGEST_PLAIN_CELL = 32  # a longer one is broken into lines
LOWDOWN = ["lowdown", "-s", "-Tman", "--out-no-smarty", "--parse-no-super"]


def page_of(text):
    """Name, section and the Markdown of a page: the title becomes NAME, each heading goes one up."""
    title, body = text.split("\n", 1)
    name, section, purpose = re.fullmatch(r"# (\S+)\((\d)\) - (.+)", title).groups()
    if not body.lstrip().startswith("## "):
        body = "\n## Description\n" + body
    # What Markdown hides stays hidden.
    body = re.sub(r"<!--.*?-->\n?", "", body, flags=re.S)
    body = re.sub(r"\[([^\]]+)\]\([^)]+\)", r"**\1**", body)  # a link leads nowhere in a terminal
    body = re.sub(r"^## (.*)$", lambda heading: "# " + heading[1].upper(), body, flags=re.M)
    body = re.sub(r"^### ", "## ", body, flags=re.M)
    return name, section, "# NAME\n\n%s - %s\n%s" % (name, purpose, body)


def translate(markdown, title):
    command = LOWDOWN + ["-M" + key + "=" + value for key, value in title.items()]
    return subprocess.run(command, input=markdown, stdout=subprocess.PIPE, text=True,
                          check=True).stdout


def keep_hyphens(code):
    return code.replace("-", r"\-")


def cell_text(cell, is_last):
    short = len(re.sub(r"\\f.", "", cell)) <= LONGEST_PLAIN_CELL
    return cell if short and not is_last else "T{\n.nh\n" + cell + "\nT}"


def table(match):
    """No frame, and all of the line's width for the last column."""
    cells = re.findall(r"T\{\n(.*?)\nT\}", match[0], flags=re.S)
    columns = len(re.search(r"^lb.*$", match[0], flags=re.M)[0].split())
    rows = [cells[i:i + columns] for i in range(0, len(cells), columns)]
    lines = ["|".join(cell_text(cell, i == columns - 1) for i, cell in enumerate(row))
             for row in rows]
    formats = "%sx\n%sx.\n" % (" ".join(["lb"] * columns), " ".join(["l"] * columns))
    return ".TS\nnokeep tab(|);\n" + formats + "\n".join(lines) + "\n.TE\n.LP"


def mend(roff):
    roff = re.sub(r"^\.EX$.*?^\.EE$", lambda block: keep_hyphens(block[0]), roff, flags=re.M | re.S)
    roff = re.sub(r"\\fC(.*?)\\fR", lambda code: r"\fB" + keep_hyphens(code[1]) + r"\fR", roff,
                  flags=re.S)
    roff = re.sub(r"^\.TS$.*?^\.TE$", table, roff, flags=re.M | re.S)
    roff = re.sub(r"^(\.S[HS])\n(.*)$", r'\1 "\2"', roff, flags=re.M)
    roff = re.sub(r'^(\.SH "NAME")\n\.LP\n(\S+) - ', r"\1\n\2 \\- ", roff, flags=re.M)
    roff = re.sub(r'^(\.S[HS] ".*")\n\.LP$', r"\1", roff, flags=re.M)
    # An item whose first line stands for itself is a term with its explanation.
    roff = re.sub(r'^\.IP "\\\(bu" 2\n(.*)\n\.br$', r".TP\n\1", roff, flags=re.M)
    roff = re.sub(r"^\.if n \\\n\.sp -1\n\.if t \\\n\.sp .*\n(?=\.TP$)", "", roff, flags=re.M)
    roff = re.sub(r"^\.LP\n(?=\.(LP|TP|TS|SH|SS)\b)", "", roff, flags=re.M)
    return re.sub(r"^(\.TH .*)$", "\\1\n.nh\n.ad l", roff, flags=re.M)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--version", required=True)
    parser.add_argument("--date", required=True)
    parser.add_argument("--output", required=True)
    parser.add_argument("page", type=pathlib.Path)
    options = parser.parse_args()
    name, section, markdown = page_of(options.page.read_text(encoding="utf-8"))
    title = {"title": name.upper(), "section": section, "date": options.date,
             "source": "edgefold " + options.version, "volume": VOLUMES[section]}
    page = mend(translate(markdown, title)).encode("utf-8")
    # Without a time in it, so that equal pages are equal files.
    pathlib.Path(options.output).write_bytes(gzip.compress(page, 9, mtime=0))


if __name__ == "__main__":
    main()
