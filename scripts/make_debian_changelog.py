#!/usr/bin/env python3
"""Makes Debian's changelog, compressed, of CHANGELOG.md: "## VERSION - DATE" and items below it.

Usage: make_debian_changelog.py --maintainer "NAME <MAIL>" --output FILE.gz CHANGELOG.md
"""

import argparse
import datetime
import email.utils
import gzip
import pathlib
import re
import textwrap


def entry(version, date, body, maintainer):
    noon = datetime.datetime.fromisoformat(date + "T12:00:00+00:00")
    bullets = re.split(r"^- ", body.strip(), flags=re.M)[1:]
    items = "\n".join(textwrap.fill(" ".join(bullet.split()), 78, initial_indent="  * ",
                                    subsequent_indent="    ", break_on_hyphens=False)
                      for bullet in bullets)
    return "edgefold (%s) stable; urgency=medium\n\n%s\n\n -- %s  %s\n" % (
        version, items, maintainer, email.utils.format_datetime(noon))


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--maintainer", required=True)
    parser.add_argument("--output", required=True)
    parser.add_argument("changes", type=pathlib.Path)
    options = parser.parse_args()
    text = options.changes.read_text(encoding="utf-8")
    releases = re.findall(r"^## (\S+) - (\S+)\n(.*?)(?=^## |\Z)", text, flags=re.M | re.S)
    changelog = "\n".join(entry(*release, options.maintainer) for release in releases)
    pathlib.Path(options.output).write_bytes(gzip.compress(changelog.encode("utf-8"), 9, mtime=0))


if __name__ == "__main__":
    main()
