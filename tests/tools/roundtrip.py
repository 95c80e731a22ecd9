#!/usr/bin/env python3
"""Dumps random databases and creates them anew:

    roundtrip.py KIVDB COUNT SEED [HOST CREATION_FILE]

Every value must read as before, and what needs no other form keeps its bytes.
"""
import os
import random
import re
import subprocess
import sys
import tempfile

from common import read_value

PIECES = [b"\\", b"\\\\", b"\\x2c", b"\\x7c", b"\\n", b"\\q", b",", b" ", b"  ",
          b'"', b"'", b"{", b"}", b"{{$kivid}}", b"{{$kivhost}}",
          b"{{$kivversion}}", b"\t", b"\r", b"\x0b", b"\x01", b"=", b";", b"#",
          b"[", b"]", b"a", b"7", b"\xc3\xa9", b"\xff", b"rec_1 = 1"]
TABLES = [b"hosts", b"a b", b"\xc3\xa9", b"q'x\"y", b";c", b"#d", b"[z", b"=", b"first"]


def random_record(columns):
    return [b"".join(random.choices(PIECES, k=random.choice([0, 0, 1, 1, 2, 5])))
            for _ in range(columns)]


def make_database(root):
    os.makedirs(root + b"/kiv/schema")
    for table in random.sample(TABLES, 4):
        directory = root + b"/kiv/database/" + table
        os.makedirs(directory)
        columns = random.randint(1, 4)
        line = b"id[int]" + b"".join(b"|c%d[varchar]" % i for i in range(columns))
        with open(root + b"/kiv/schema/" + table, "wb") as file:
            file.write(line + random.choice([b"", b" ", b"\t#", b'"']) + b"\nx")
        for number in random.sample(range(-30, 30), 20):
            with open(directory + b"/%d" % number, "wb") as file:
                file.write(b"".join(v + b"|" for v in random_record(columns)))


def read_tree(root):
    tree = {}
    for folder in (b"schema", b"database"):
        for path, _, names in os.walk(root + b"/kiv/" + folder):
            for name in names:
                key = path[len(root):] + b"/" + name
                with open(path + b"/" + name, "rb") as file:
                    tree[key] = file.read().split(b"\n")[0]
    return tree


def compare(before, after):
    assert before.keys() == after.keys(), before.keys() ^ after.keys()
    for name, line in before.items():
        if b"/schema/" in name:
            assert line == after[name], (name, line, after[name])
            continue
        old, new = line.split(b"|"), after[name].split(b"|")
        assert list(map(read_value, old)) == list(map(read_value, new)), (old, new)
        if not re.search(rb'[,{"]|(^|\|)\s|\s\|', line):
            assert old == new, (old, new)


def check_database(kivdb, work, make):
    root, copy = work.encode() + b"/root", work.encode() + b"/copy"
    os.mkdir(root)
    os.mkdir(copy)
    make(root)
    dump = subprocess.run([kivdb, "-r", root, "dump"], check=True,
                          stdout=subprocess.PIPE).stdout
    subprocess.run([kivdb, "-r", copy, "create", "-"], input=dump, check=True)
    compare(read_tree(root), read_tree(copy))
    subprocess.run([kivdb, "-r", root, "diff", copy], check=True)


def main():
    kivdb, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    random.seed(seed)
    makers = [make_database] * count
    if len(sys.argv) > 4:
        host = sys.argv[4:]  # the example host and its creation file
        makers.append(lambda root: subprocess.run(
            [*host, root], check=True, stdout=subprocess.DEVNULL))
    for make in makers:
        with tempfile.TemporaryDirectory() as work:
            check_database(kivdb, work, make)
    print(f"{len(makers)} databases came back")


main()
