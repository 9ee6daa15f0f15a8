#!/usr/bin/env python3
"""Writes a synthetic edge file: a program of functions with blocks, edges, calls and returns.

    make_edges.py ROWS [--functions N] [--order address|random] [--repeat K] [--seed S] > edges.csv

By default there is one function for every 17 rows, each edge stands once, and rows come in the order of
their addresses, as a sampling run writes them. With --repeat each row stands K times with other counts; in
random order hot and cold functions mix. The same arguments give the same bytes.
"""

import argparse
import random
import sys

HEADER = ("FromAddress,TypeOfBranch,EntryBlock,FromSourceFile,FromSourceLine,FromSourceOffsetLine,"
          "FromSourceColumn,FromSourceDiscriminator,FromFunctionMangled,DestinationAddress,"
          "DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,"
          "DestinationSourceOffsetLine,DestinationSourceColumn,DestinationSourceDiscriminator,"
          "DestinationFunctionMangled,HitCount\n")
SCOPES = ["mesh", "page", "codec", "query", "audio", "layout", "socket", "script"]
VERBS = ["Update", "Find", "Insert", "Flush", "Decode", "Visit", "Resolve", "Commit"]
BASE, ROOM, STEP = 0x401000, 0x100000, 0x18


def function_name(number):
    scope, verb = SCOPES[number % 8], VERBS[number // 8 % 8]
    method = "%s%d" % (verb, number)
    suffix = ".isra.0" if number % 53 == 0 else ""
    return "_ZN%d%s%d%sERKNS_4NodeEm%s" % (len(scope), scope, len(method), method, suffix)


def file_name(number):
    return "src/%s/%s_%d.cpp" % (SCOPES[number % 8], SCOPES[number // 13 % 8], number // 13)


def end(number, block, line):
    """One end of a row, as the columns from the file name to the function have it."""
    offset = line + block // 2
    return "%s,%d,%d,%d,%d,%s" % (file_name(number), 20 + offset, offset, 1 + block % 60,
                                  block % 7 == 0, function_name(number))


def address(number, block):
    return BASE + number * ROOM + block * STEP


def row(kind, source, block, target, to_block):
    entry = "yes" if block == 0 else "no"
    return "0x%x,%s,%s,%s,0x%x,0x%x,%s," % (
        address(source, block) + STEP - 4, kind, entry, end(source, block, source % 50),
        address(target, to_block), address(target, to_block) + STEP - 4,
        end(target, to_block, target % 50))


def function_rows(number, count, functions, chance):
    """`count` rows of one function: mostly edges, one row in six a call or a return."""
    blocks = count // 2 + 3
    seen = set()
    while len(seen) < count:
        k = len(seen)
        block = k * blocks // count
        if k % 6 == 4:
            seen.add(("Call", number, block, (number + 1 + int(chance() * 40)) % functions, 0))
        elif k == count - 1:
            seen.add(("Ret", number, blocks - 1, (number + 7) % functions, 1))
        else:
            seen.add(("Cond", number, block, number, int(chance() * blocks)))
    return [row(*edge) for edge in sorted(seen, key=lambda edge: (edge[2], edge))]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("rows", type=int)
    parser.add_argument("--functions", type=int, default=0)
    parser.add_argument("--order", choices=("address", "random"), default="address")
    parser.add_argument("--repeat", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    distinct = max(1, options.rows // options.repeat)
    functions = options.functions or max(2, distinct // 17)
    chance = random.Random(options.seed).random
    rows = []
    for number in range(functions):
        share = distinct * (number + 1) // functions - distinct * number // functions
        if share:
            rows += function_rows(number, share, functions, chance)
    rows *= options.repeat
    if options.order == "random":
        random.Random(options.seed).shuffle(rows)
    sys.stdout.write(HEADER)
    for text in rows:
        sys.stdout.write("%s%d\n" % (text, 1 + int(3 ** (chance() * 12))))


if __name__ == "__main__":
    main()
