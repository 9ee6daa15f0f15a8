#!/usr/bin/env python3
"""Merges edge files and sample databases on the workers of a Dask cluster.

    merge_on_dask.py SCHEDULER OUT.db < PATHS

Paths or URLs, one a line, of anything that fsspec opens on the workers (https://, s3://, sftp://, ...). GROUP (50) of them
are merged at a time, then the results, which Dask moves between workers as bytes: there need be no common directory.
edgefold, check_edges and merge-group must be in the PATH of the workers and of the caller, who does the last step.
"""

import os
import shutil
import subprocess
import sys
import tempfile

import distributed
import fsspec

ENDINGS = ("", ".sums")  # a database and the file of its sums beside it


def fetch(item, name):
    """Puts a path, a URL or the result of a step under a name; gives how many paths it stands for."""
    if isinstance(item, str):
        with fsspec.open(item, "rb") as source, open(name, "wb") as target:
            shutil.copyfileobj(source, target)
        return 1
    leaves, contents = item
    for ending, content in zip(ENDINGS, contents):
        with open(name + ending, "wb") as target:
            target.write(content)
    return leaves


def merge(out, items, place, *options):
    """Merges the items in a directory of this machine; gives how many paths they stand for."""
    names = [os.path.join(place, "%05d" % n) for n in range(len(items))]
    leaves = sum(map(fetch, items, names))
    done = subprocess.run(["merge-group", *options, out, *names], stderr=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        said = done.stderr
        for name, item in zip(names, items):
            said = said.replace(name, item if isinstance(item, str) else "a part")
        raise RuntimeError(said.strip())
    return leaves


def step(items):
    """On a worker: one step of the tree."""
    with tempfile.TemporaryDirectory() as place:
        out = os.path.join(place, "out.db")
        leaves = merge(out, items, place, "--part")
        contents = []
        for ending in ENDINGS:
            with open(out + ending, "rb") as file:
                contents.append(file.read())
        return leaves, contents


def merge_on(client, out, paths, group):
    work = paths
    while len(work) > group:  # a step that fails, or whose worker dies, is done again; then those that need it
        work = [client.submit(step, work[n:n + group], pure=False, retries=2) for n in range(0, len(work), group)]
    if work is not paths and sys.stderr.isatty():
        distributed.progress(work, notebook=False)
    with tempfile.TemporaryDirectory(dir=os.path.dirname(os.path.abspath(out))) as place:
        if merge(out, client.gather(work), place) != len(paths):
            raise RuntimeError("not each of the %d paths was merged once" % len(paths))


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    scheduler, out = sys.argv[1:]
    paths = sys.stdin.read().splitlines()
    try:
        if len(set(paths)) != len(paths):
            raise RuntimeError("a path is given twice")
        with distributed.Client(scheduler) as client:
            merge_on(client, out, paths, max(2, int(os.environ.get("GROUP", "50"))))
    except Exception as error:  # of a worker, of any kind
        sys.exit("merge_on_dask: no %s: %s" % (out, error))


if __name__ == "__main__":
    main()
