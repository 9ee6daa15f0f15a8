#!/usr/bin/env python3
"""Checks that the relative links of all Markdown files below a directory lead somewhere.

    check_links.py [DIRECTORY]

A link's file must exist, and its anchor be a heading of that file. Addresses of the web are not looked at.
"""

import os
import pathlib
import re
import sys
import urllib.parse

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
PASSED_OVER = {"build", ".git", "node_modules"}


def prose_of(path):
    """The text without code: fenced blocks and spans hold no links."""
    text = re.sub(r"(?ms)^ *(```+).*?^ *\1 *$", "", path.read_text(encoding="utf-8"))
    return text


def anchors_of(path):
    """The anchors that a web view gives the headings: lower case, no marks, "-" for blanks."""
    anchors = set()
    for heading in re.findall(r"(?m)^#+ +(.+?) *#*$", prose_of(path)):
        heading = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading)
        anchor = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
        candidates = [anchor] + ["%s-%d" % (anchor, n) for n in range(1, 100)]
        anchors.add(next(candidate for candidate in candidates if candidate not in anchors))
    return anchors


def links_of(path):
    prose = re.sub(r"`[^`\n]*`", "", prose_of(path))
    return re.findall(r"\]\(<?([^)>\s]+)>?(?: \"[^\"]*\")?\)", prose) + re.findall(r"(?m)^\[[^]]+\]: +(\S+)", prose)


def problem_of(path, link):
    """What is wrong with the link, or None."""
    if re.match(r"[a-z][a-z+.-]*:", link):
        return None
    file, _, anchor = urllib.parse.unquote(link).partition("#")
    target = path.parent / file if file else path
    if not target.exists():
        return "no such file"
    if anchor and anchor not in anchors_of(target):
        return "no such heading"
    return None


def documents_below(root):
    """The Markdown files, without those in skipped folders, where files come and go."""
    paths = []
    for place, directories, files in os.walk(root):
        directories[:] = [name for name in directories if name not in PASSED_OVER]
        paths += [pathlib.Path(place, name) for name in files if name.endswith(".md")]
    return sorted(paths)


def check(root):
    """(number of links, problems)"""
    count, problems = 0, []
    for path in documents_below(root):
        for link in links_of(path):
            count += 1
            problem = problem_of(path, link)
            if problem:
                problems.append("%s: %s: %s" % (path.relative_to(root), link, problem))
    return count, problems


def main():
    root = pathlib.Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else PROJECT
    count, problems = check(root)
    print("\n".join(problems + ["%d links, %d lead nowhere" % (count, len(problems))]))
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
