#!/usr/bin/env python3
"""Kills changing commands before each call that changes files: kills.py KIVDB PRELOAD

PRELOAD sets the variable that loads the library of stop_at.cc.  What was saved must
still be there, and the next run must end as if nothing had happened.
"""
import os
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from common import (call, kill_everywhere, make_table, read_database, read_end,
                    read_file, read_table, run, write_file)

KIVDB, PRELOAD = os.path.abspath(sys.argv[1]), dict([sys.argv[2].split("=", 1)])
OLD = (978307200, 978307200)
RECORDS = {"1": b"alpha|80|", "2": b"beta|443|", "3": b"gamma|25|"}
NEW = b"new|9|"
VALUES = ["name=new", "port=9"]
ROWS = b"id,name,port\n2,new,9\n20,four,1\n21,five,2\n"
LINES = (b"add hosts --replace --id 2 name=new port=9\nset hosts 3 name=new port=9\n"
         b"delete hosts 1 --force\n")
CREATION = (b"[first]\nx = 1\n[a]\nschema = id[int]|x[int]\nrec_1 = 1, 5\n"
            b"rec_2 = 4, 6\n[b]\nschema = id[int]|name[varchar]\n"
            b"rec_1 = 7, {{$kivhost}}\n")
# Words, what a record may be then if it is not as before, and the texts that
# the table has in the end.
CHANGES = [
    (["add", "hosts", *VALUES], {"4": [None, NEW]}, [*RECORDS.values(), NEW]),
    (["add", "hosts", "--id", "2", "--replace", *VALUES],
     {"2": [RECORDS["2"], NEW]}, [RECORDS["1"], RECORDS["3"], NEW]),
    (["set", "hosts", "2", "port=9"], {"2": [RECORDS["2"], b"beta|9|"]},
     [RECORDS["1"], RECORDS["3"], b"beta|9|"]),
    (["delete", "hosts", "2", "--force"], {"2": [RECORDS["2"], None]},
     [RECORDS["1"], RECORDS["3"]]),
    (["clear", "hosts", "--force"], {i: [RECORDS[i], None] for i in RECORDS}, []),
    (["import", "hosts", "in.csv", "--replace"],
     {"2": [RECORDS["2"], NEW], "20": [None, b"four|1|"], "21": [None, b"five|2|"]},
     [RECORDS["1"], RECORDS["3"], NEW, b"four|1|", b"five|2|"]),
    (["batch", "in.txt"],
     {"1": [RECORDS["1"], None], "2": [RECORDS["2"], NEW], "3": [RECORDS["3"], NEW]},
     [NEW, NEW]),
]
LEFTOVERS = {"2.tmp": NEW, "3.tmp": b"cu", "4.tmp": b"four|4|", "5": b"few",
             "5.tmp": b"five|5|", "6.tmp": b"few|", "8.tmp": b"eight|8|",
             "8.tmp.tmp": b"late|8|", "9.tmp": b"a\0|9|", "10": b"", "11": b"few",
             "11.tmp.tmp": b"eleven|11|", "1~": b"", "x.ADD": b""}


def kivdb(root, words):
    """Runs it whatever it answers: status, standard error."""
    return call([KIVDB, *words], cwd=root, stdin=subprocess.DEVNULL)[::2]


def prepare_hosts(root):
    make_table(root, "hosts", RECORDS)
    write_file(root + "/in.csv", ROWS)
    write_file(root + "/in.txt", LINES)


def prepare_delete(root):
    prepare_hosts(root)
    write_file(root + "/kiv/database/hosts/2.tmp", b"left|2|")


def age(root):
    hosts = root + "/kiv/database/hosts"
    for name in os.listdir(hosts) if os.path.isdir(hosts) else []:
        os.utime(f"{hosts}/{name}", OLD)


def repair(root):
    age(root)
    run([KIVDB, "check", "--repair", "--restore"], cwd=root)


def verify_records(root, outcomes):
    """Each is whole, under its own name or as a complete temporary file."""
    table = read_table(root + "/kiv/database/hosts")
    for name in RECORDS | outcomes:
        leftover = table.pop(name + ".tmp", None)
        text = table.pop(name, None)
        assert leftover is None or name in outcomes, (name, leftover)
        if text is None and leftover and leftover.count(b"|") == 2:
            text = leftover
        assert text in outcomes.get(name, [RECORDS.get(name)]), (name, text, leftover)
    assert not table, table


def changing(words, outcomes, texts):
    def verify(root, call):
        if call is not None:
            verify_records(root, outcomes)
            status, reason = kivdb(root, words)
            if status == 1 and b"run check" in reason:
                repair(root)
                status, reason = kivdb(root, words)
            assert status == 0, (status, reason)
        repair(root)
        run([KIVDB, "check"], cwd=root)
        table = read_table(root + "/kiv/database/hosts")
        assert set(table.values()) == set(texts), table

    prepare = prepare_delete if words[0] == "delete" else prepare_hosts
    return prepare, [KIVDB, *words], verify


def adding_table():
    def verify(root, call):
        verify_records(root, {})
        if call is not None:
            # Of a line that was cut no repair knows the rest, but it is found.
            is_cut = kivdb(root, ["check", "--repair"])[0] == 1 and \
                kivdb(root, ["check"])[0] == 1
            if is_cut:
                run([KIVDB, "drop-table", "t", "--force"], cwd=root)
            status, reason = kivdb(root, words)
            is_made = not is_cut and b"is there already" in reason
            assert status == 0 or is_made, (status, reason)
        run([KIVDB, "check"], cwd=root)
        line, _ = run([KIVDB, "schema", "t", "-o", "raw"], cwd=root)
        assert line == b"id[int]|x[int]\n", line
        run([KIVDB, "add", "t", "x=1"], cwd=root)

    words = ["add-table", "t", "id:int,x:int"]
    return prepare_hosts, [KIVDB, *words], verify


def dropping_table():
    def verify(root, call):
        if os.path.isdir(root + "/kiv/database/hosts"):
            verify_records(root, {i: [RECORDS[i], None] for i in RECORDS})
        is_there = os.path.exists(root + "/kiv/schema/hosts")
        if call is not None:
            status, reason = kivdb(root, words)
            assert status == (0 if is_there else 2), (status, reason)
        for folder in ("database", "schema"):
            assert not os.listdir(f"{root}/kiv/{folder}"), folder

    words = ["drop-table", "hosts", "--force"]
    return prepare_hosts, [KIVDB, *words], verify


def creating(has_kiv, restores=False):
    def prepare(root):
        write_file(root + "/new.ini", CREATION)
        if restores:
            run([KIVDB, "-r", "old", *create], cwd=root)
            run([KIVDB, "-r", "old", "backup", "new.tar"], cwd=root)
        if has_kiv:
            os.mkdir(root + "/kiv")

    def verify(root, call):
        tree = read_database(root)
        is_there = "kiv/schema" in tree
        assert is_there or call is not None, tree
        assert tree == whole if is_there else kivdb(root, ["tables"])[0] == 2, tree
        status, reason = kivdb(root, words)
        assert status == (1 if is_there else 0), (status, reason)
        assert read_database(root) == whole

    create = ["create", "new.ini", "--id", "3", "--host", "h"]
    words = ["restore", "new.tar"] if restores else create
    with tempfile.TemporaryDirectory() as root:
        prepare(root)
        run([KIVDB, *words], cwd=root)
        whole = read_database(root)
        assert len(whole) == 10, whole
    return prepare, [KIVDB, *words], verify


def backing_up():
    def prepare(root):
        prepare_hosts(root)
        write_file(root + "/file.tar", b"older")

    def verify(root, call):
        if call is None or read_file(root + "/file.tar") != b"older":
            run([KIVDB, "-r", "new", "restore", "file.tar"], cwd=root)
            assert read_table(root + "/new/kiv/database/hosts") == RECORDS
        verify_records(root, {})

    return prepare, [KIVDB, "backup", "file.tar"], verify


def prepare_leftovers(root):
    hosts = make_table(root, "hosts", RECORDS | LEFTOVERS)
    os.mkfifo(hosts + "/7.tmp")
    for name in os.listdir(hosts):
        os.utime(f"{hosts}/{name}", OLD)
    make_table(root, "empty", schema=b"")
    write_file(root + "/kiv/schema/hosts~", b"id[int]|x[int]")
    write_file(root + "/kiv/schema/bare", b"id[int]|x[int]")


def read_files(root):
    """Their contents by inode; the FIFO has none."""
    files = {}
    for path, _, names in os.walk(root + "/kiv"):
        for entry in (os.path.join(path, name) for name in names):
            is_file = os.path.isfile(entry)
            files[os.stat(entry).st_ino] = read_file(entry) if is_file else None
    return files


def repairing(words):
    files, end = {}, {}

    def prepare(root):
        prepare_leftovers(root)
        files[root] = read_files(root)

    def verify(root, call):
        assert read_files(root) == files[root]
        assert call is not None or read_end(root) == end, read_end(root)
        table = read_end(root)
        for name, text in RECORDS.items():
            assert table["kiv/database/hosts/" + name] == text, (name, table)
        for name in ("4", "5", "8"):
            path = "kiv/database/hosts/" + name
            is_kept = table.get(path + ".tmp") == LEFTOVERS[name + ".tmp"]
            assert is_kept or table.get(path) == LEFTOVERS[name + ".tmp"], (name, table)
        status, reason = kivdb(root, words)
        assert status == 1 and not reason, (status, reason)
        assert read_files(root) == files[root] and read_end(root) == end, read_end(root)

    words = ["check", "--repair", *words]
    with tempfile.TemporaryDirectory() as root:
        prepare(root)
        run([KIVDB, *words], 1, cwd=root)
        end = read_end(root)
    return prepare, [KIVDB, *words], verify


def cases():
    """Of each command: what prepares a root, its words, and what verifies the root."""
    return [*(changing(*row) for row in CHANGES), adding_table(), dropping_table(),
            creating(False), creating(True), creating(False, True),
            creating(True, True), backing_up(), repairing([]),
            repairing(["--restore"])]


def main():
    with ThreadPoolExecutor(16) as pool:
        runs = [pool.submit(kill_everywhere, PRELOAD, *case) for case in cases()]
        print(f"{sum(done.result() for done in runs)} calls")


if __name__ == "__main__":
    main()
