#!/usr/bin/env python3
"""Kills changing commands before each call that changes files: kills.py KIVDB PRELOAD

PRELOAD sets the variable that loads the library of stop_at.cc.  What was saved must
still be there, and the next run must end as if nothing had happened.
"""
import os
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from common import (call, kill_everywhere, make_table, read_database, read_end,
                    read_file, read_table, run, write_file)

KIVDB, PRELOAD = os.path.abspath(sys.argv[1]), dict([sys.argv[2].split("=", 1)])
OLD = (978307200, 978307200)
REPAIR = [KIVDB, "check", "--repair", "--restore"]
RECORDS = {"1": b"alpha|80|", "2": b"beta|443|", "3": b"gamma|25|"}
ALL_GONE = {name: [text, None] for name, text in RECORDS.items()}
NEW = b"new|9|"
ROWS = b"id,name,port\n2,new,9\n20,four,1\n21,five,2\n"
LINES = (b"add hosts --replace --id 2 name=new port=9\nset hosts 3 name=new port=9\n"
         b"delete hosts 1 --force\n")
CREATION = (b"[first]\nx = 1\n[a]\nschema = id[int]|x[int]\nrec_1 = 1, 5\n"
            b"rec_2 = 4, 6\n[b]\nschema = id[int]|name[varchar]\n"
            b"rec_1 = 7, {{$kivhost}}\n")
# Words, what a record may be then if it is not as before.
CHANGES = [
    (["add", "hosts", "--id", "4", "--replace", "name=new", "port=9"],
     {"4": [None, NEW]}),
    (["set", "hosts", "2", "port=9"], {"2": [RECORDS["2"], b"beta|9|"]}),
    (["delete", "hosts", "2", "--force"], {"2": [RECORDS["2"], None]}),
    (["clear", "hosts", "--force"], ALL_GONE),
    (["drop-table", "hosts", "--force"], ALL_GONE),
    (["import", "hosts", "in.csv", "--replace"],
     {"2": [RECORDS["2"], NEW], "20": [None, b"four|1|"], "21": [None, b"five|2|"]}),
    (["batch", "in.txt"],
     {"1": [RECORDS["1"], None], "2": [RECORDS["2"], NEW], "3": [RECORDS["3"], NEW]})]
LEFTOVERS = {"2.tmp": NEW, "3.tmp": b"cu", "4.tmp": b"four|4|", "5": b"few",
             "5.tmp": b"five|5|", "6.tmp": b"few|", "8.tmp": b"eight|8|",
             "8.tmp.tmp": b"late|8|", "9.tmp": b"a\0|9|", "10": b"", "11": b"few",
             "11.tmp.tmp": b"eleven|11|", "1~": b"", "x.ADD": b""}


def kivdb(root, words):
    """Runs it whatever it answers: status, standard error."""
    return call([KIVDB, *words], cwd=root)[::2]


def prepare_hosts(root):
    make_table(root, "hosts", RECORDS)
    write_file(root + "/in.csv", ROWS)
    write_file(root + "/in.txt", LINES)


def prepare_change(words):
    """A record that is deleted has a temporary file, too."""
    def prepare(root):
        prepare_hosts(root)
        if words[0] == "delete":
            write_file(root + "/kiv/database/hosts/2.tmp", b"left|2|")
    return prepare


def age(root):
    hosts = root + "/kiv/database/hosts"
    for name in os.listdir(hosts) if os.path.isdir(hosts) else []:
        os.utime(f"{hosts}/{name}", OLD)


def whole_run(prepare, words, read, status=0):
    """What is there when nothing kills it."""
    with tempfile.TemporaryDirectory() as root:
        prepare(root)
        run(words, status, cwd=root)
        return read(root)


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


def changing(prepare, words, outcomes, steps, read=read_end):
    """After as many steps as it takes, it ends as if it had run once."""
    def verify(root, number):
        if os.path.isdir(root + "/kiv/database/hosts"):
            verify_records(root, outcomes)
        for step in steps if number is not None and read(root) != end else []:
            if step is REPAIR:
                age(root)
            done = call(step, cwd=root)
            assert step is REPAIR or done[0] == 0 or b"run check" in done[2], done
            if read(root) == end:
                break
        assert read(root) == end, (read(root), end)

    end = whole_run(prepare, words, read)
    return prepare, words, verify


def adding_table():
    def verify(root, number):
        verify_records(root, {})
        if number is not None:
            # Of a line that was cut no repair knows the rest, but it is found.
            if kivdb(root, ["check", "--repair"])[0] == 1:
                assert kivdb(root, ["check"])[0] == 1
                run([KIVDB, "drop-table", "t", "--force"], cwd=root)
            status, reason = kivdb(root, words)
            assert status == 0 or b"is there already" in reason, (status, reason)
        run([KIVDB, "check"], cwd=root)
        line, _ = run([KIVDB, "schema", "t", "-o", "raw"], cwd=root)
        assert line == b"id[int]|x[int]\n", line
        run([KIVDB, "add", "t", "x=1"], cwd=root)

    words = ["add-table", "t", "id:int,x:int"]
    return prepare_hosts, [KIVDB, *words], verify


def creating(has_kiv, restores=False):
    def prepare(root):
        write_file(root + "/new.ini", CREATION)
        if restores:
            run([KIVDB, "-r", "old", *create], cwd=root)
            run([KIVDB, "-r", "old", "backup", "new.tar"], cwd=root)
        if has_kiv:
            os.mkdir(root + "/kiv")

    def verify(root, number):
        tree = read_database(root)
        is_there = "kiv/schema" in tree
        assert is_there or number is not None, tree
        assert tree == whole if is_there else kivdb(root, ["tables"])[0] == 2, tree
        status, reason = kivdb(root, words)
        assert status == (1 if is_there else 0), (status, reason)
        assert read_database(root) == whole

    create = ["create", "new.ini", "--id", "3", "--host", "h"]
    words = ["restore", "new.tar"] if restores else create
    whole = whole_run(prepare, [KIVDB, *words], read_database)
    assert len(whole) == 10, whole
    return prepare, [KIVDB, *words], verify


def backing_up():
    def prepare(root):
        prepare_hosts(root)
        write_file(root + "/file.tar", b"older")

    def verify(root, number):
        if number is None or read_file(root + "/file.tar") != b"older":
            run([KIVDB, "-r", "new", "restore", "file.tar"], cwd=root)
            assert read_table(root + "/new/kiv/database/hosts") == RECORDS
        verify_records(root, {})

    return prepare, [KIVDB, "backup", "file.tar"], verify


def prepare_leftovers(root):
    hosts = make_table(root, "hosts", RECORDS | LEFTOVERS)
    os.mkfifo(hosts + "/7.tmp")
    age(root)
    make_table(root, "empty", schema=b"")
    write_file(root + "/kiv/schema/hosts~", b"id[int]|x[int]")
    write_file(root + "/kiv/schema/bare", b"id[int]|x[int]")


def read_texts(root):
    return sorted(t for t in read_database(root).values() if t is not None)


def repairing(words):
    """Whatever is moved or restored, every text stays."""
    def verify(root, number):
        tree = read_end(root)
        assert read_texts(root) == texts
        assert number is not None or tree == end, tree
        for name, text in RECORDS.items():
            assert tree["kiv/database/hosts/" + name] == text, (name, tree)
        status, reason = kivdb(root, words)
        assert status == 1 and not reason, (status, reason)
        assert read_texts(root) == texts and read_end(root) == end, read_end(root)

    words = ["check", "--repair", *words]
    texts = whole_run(prepare_leftovers, ["true"], read_texts)
    end = whole_run(prepare_leftovers, [KIVDB, *words], read_end, 1)
    return prepare_leftovers, [KIVDB, *words], verify


def cases():
    """Of each command: what prepares a root, its words, and what verifies the root."""
    for words, outcomes in CHANGES:
        again = [KIVDB, *words]
        yield changing(prepare_change(words), again, outcomes, [again, REPAIR, again])
    yield from (adding_table(), creating(False), creating(True), creating(False, True),
                creating(True, True), backing_up(), repairing([]),
                repairing(["--restore"]))


def main():
    with ThreadPoolExecutor(16) as pool:
        runs = [pool.submit(kill_everywhere, PRELOAD, *case) for case in cases()]
        print(f"{sum(done.result() for done in runs)} calls")


if __name__ == "__main__":
    main()
