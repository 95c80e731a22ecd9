#!/usr/bin/env python3
"""Dumps random databases and creates them anew:

    roundtrip.py KIVDB COUNT SEED [HOST CREATION_FILE]

Every value must read as before, and what needs no other form keeps its bytes.
"""
import os
import random
import re
import sys
import tempfile

from common import make_table, read_database, read_value, run

PIECES = [b"\\", b"\\\\", b"\\x2c", b"\\x7c", b"\\n", b"\\q", b",", b" ", b"  ",
          b'"', b"'", b"{", b"}", b"{{$kivid}}", b"{{$kivhost}}",
          b"{{$kivversion}}", b"\t", b"\r", b"\x0b", b"\x01", b"=", b";", b"#",
          b"[", b"]", b"a", b"7", b"\xc3\xa9", b"\xff", b"rec_1 = 1"]
TABLES = [b"hosts", b"a b", b"\xc3\xa9", b"q'x\"y", b";c", b"#d", b"[z", b"=", b"first"]


def random_record(columns):
    return b"".join(b"".join(random.choices(PIECES, k=random.choice([0, 0, 1, 1, 2, 5])))
                    + b"|" for _ in range(columns))


def make_database(root):
    for table in random.sample(TABLES, 4):
        columns = random.randint(1, 4)
        schema = b"id[int]" + b"".join(b"|c%d[varchar]" % i for i in range(columns))
        make_table(root, table, {number: random_record(columns)
                                 for number in random.sample(range(-30, 30), 20)},
                   schema + random.choice([b"", b" ", b"\t#", b'"']) + b"\nx")


def read_lines(root):
    """The first lines of schemas and records."""
    return {path: text.split(b"\n")[0] for path, text in read_database(root).items()
            if text is not None and path != "kiv/base.ini"}


def check_database(kivdb, root, copy):
    dump, _ = run([kivdb, "-r", root, "dump"])
    run([kivdb, "-r", copy, "create", "-"], input=dump)
    before, after = read_lines(root), read_lines(copy)
    assert before.keys() == after.keys(), before.keys() ^ after.keys()
    for path, line in before.items():
        old, new = (list(map(read_value, x.split(b"|"))) for x in (line, after[path]))
        assert old == new, (path, old, new)
        may_differ = "/schema/" not in path and re.search(rb'[,{"]|(^|\|)\s|\s\|', line)
        assert may_differ or line == after[path], (path, line, after[path])
    run([kivdb, "-r", root, "diff", copy])


def main():
    kivdb, count = os.path.abspath(sys.argv[1]), int(sys.argv[2])
    random.seed(int(sys.argv[3]))
    makers = [make_database] * count
    if len(sys.argv) > 4:  # the example host and its creation file
        makers.append(lambda root: run([*sys.argv[4:], root]))
    for make in makers:
        with tempfile.TemporaryDirectory() as work:
            make(work)
            check_database(kivdb, work, work + "/copy")
    print(f"{len(makers)} databases came back")


main()
