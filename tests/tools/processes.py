#!/usr/bin/env python3
"""The tool as a process among others: processes.py KIVDB SEED"""
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

from common import (call, entries, make_big_table, make_table, read_table, run, run_each,
                    tree_of, wait_until, write_file)

KIVDB = os.path.abspath(sys.argv[1])
SEED = int(sys.argv[2])
IS_ROOT = os.geteuid() == 0
NOBODY = {"user": 65534, "group": 65534, "extra_groups": []} if IS_ROOT else {}
INI = b"[f]\n[t]\nschema = id[int]|x[int]\n"
OWNER = 54321  # without a name
# The child's tracer of leaks cannot follow it to another user.
ENV = os.environ | {"ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") +
                    ":detect_leaks=0:quarantine_size_mb=0"}


def ended_runs(root):
    """A signal ends an import, or a batch, between two records."""
    count = 5000
    lines = {str(i): b"n%d|%d|" % (i, i) for i in range(1, count + 1)}
    rows = "".join(f"{i},n{i},{i}\n" for i in range(1, count + 1))
    write_file(root + "/in.csv", b"id,name,port\n" + rows.encode())
    for i, number in enumerate([signal.SIGINT, signal.SIGTERM, signal.SIGHUP] * 4):
        directory = make_table(root, f"t{i}")
        adds = [f"add t{i} name=n{j} port={j}\n" for j in range(1, count + 1)]
        write_file(root + "/in.txt", "".join(adds).encode())
        is_batch = i % 2 == 0
        words = ["batch", "in.txt"] if is_batch else ["import", f"t{i}", "in.csv"]
        with subprocess.Popen([KIVDB, *words], cwd=root, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            wait_until(lambda: len(os.listdir(directory)) > 3)
            time.sleep(random.random() / 100)
            process.send_signal(number)
            output = process.communicate()
        assert process.returncode == -number, (number, output)
        left = read_table(directory)
        ids = b"".join(b"%d\n" % j for j in range(1, len(left) + 1))
        told = b"kivdb: in.txt: %d of %d lines were done\n" % (len(left), count)
        assert output == ((ids, told) if is_batch else (b"", b"")), (left, output)
        assert 3 < len(left) < count, len(left)
        assert left.items() <= lines.items(), left.items() - lines.items()


LOOKING = ["tables", "schema", "list t", "list t --unsorted -o json", "get t 1",
           "list t port=1 --count", "get t 1 port", "get t 2 name --default x",
           "dump", "check", "check -o json", "diff other", "diff new.ini",
           "delete t 1 --dry-run", "delete t --where port=1 --dry-run",
           "import t in.csv --update --dry-run", "batch in.txt --dry-run",
           "clear t --dry-run", "drop-table t --dry-run", "check --repair --dry-run",
           "-r none create new.ini --dry-run"]


def make_looked_at(root):
    for where in "", "/other":
        make_table(root + where, "t", {1: b"a|1|", 2: b"|2|", "4.tmp": b"c|4|",
                                       "1~": b"a|1|", "x.ADD": b""})
        make_table(root + where, "u" + where[1:], {1: b"a|1|", 3: b"b|"})
    write_file(root + "/new.ini", INI)
    write_file(root + "/in.csv", b"id,port\n1,8080\n")
    write_file(root + "/in.txt", b"add t\ndelete t --where name=\n")
    for entry in entries(root):
        os.chmod(entry, 0o755 if os.path.isdir(entry) else 0o444)
        os.utime(entry, (978307200, 978307300))


def looking(root):
    """Leaves no trace, and needs no right to write."""
    make_looked_at(root)
    answers = {}
    for user in ({}, NOBODY) if IS_ROOT else ({},):
        for line in LOOKING:
            # A dry run opens the table as a change does.
            has_access = not user and "dry-run" not in line
            before = tree_of(root, has_access)
            answer = call([KIVDB, *line.split()], cwd=root, env=ENV, **user)
            assert answer[1], (line, answer)
            assert answers.setdefault(line, answer) == answer, (line, answers, answer)
            after = tree_of(root, has_access)
            assert before == after, (line, user, before.items() ^ after.items())


def owner(root):
    """What root changes stays that of the owner, who may be nobody."""
    if not IS_ROOT:
        print("owner: skipped, needs root")
        return
    os.chmod(root, 0o755)
    make_table(root, "t", {i: b"a|%d|" % i for i in range(9)})
    make_table(root, "u", {1: b"a|1|", "3.tmp": b"c|3|", "1~": b"a|1|"})
    make_table(root, "v", {1: b"a|1|", "1.tmp": b""})
    shutil.rmtree(make_table(root, "w"))
    os.mkdir(root + "/new")
    for entry in entries(root):
        os.utime(entry, (978307200, 978307200))
        os.chown(entry, OWNER, OWNER)
    with tempfile.TemporaryDirectory() as private:
        write_file(private + "/in.csv", b"id,name\n1,x\n50,y\n")
        write_file(private + "/in.txt", b"add t\nset t 1 port=7\ndelete v 1\n")
        write_file(private + "/new.ini", INI + b"rec_1 = 1,2\n")
        for line in (
                "add t port=5", "add t --id 60", "add t --id 3 --replace",
                "set t 4 port=5", "delete t 5", "delete t --where port=6", "edit t 7",
                f"batch {private}/in.txt", f"import t {private}/in.csv --replace",
                "add-table x id:int,y:int", "check --repair --restore",
                "clear u --force", "drop-table v --force",
                f"-r new create {private}/new.ini"):
            run([KIVDB, *line.split()], cwd=root,
                env=ENV | {"VISUAL": "sed -i 's/port = .*/port = 8/'"})
    strangers = [entry for entry in entries(root)
                 if (os.lstat(entry).st_uid, os.lstat(entry).st_gid) != (OWNER, OWNER)]
    assert not strangers, strangers
    assert {"removed", "schema", "database"} == set(os.listdir(root + "/kiv"))


def change_beside(root, worker):
    """Changes records of its own, and sees that they are as it left them."""
    chance, own, count = random.Random(SEED * 100 + worker), {}, 0
    end = time.monotonic() + 2

    def kivdb(*words):
        return run([KIVDB, "-r", root, *words])[0].decode()
    while count < 4 or time.monotonic() < end:
        count += 1
        name = f"{worker}-{count}-" + "x" * chance.choice([0, 10, 1500])
        values = name, str(worker * 1000000 + count)
        pairs = ["name=" + values[0], "port=" + values[1]]
        step = chance.choice(["add", "list"] + ["set", "set", "delete"] * (len(own) > 2))
        if step == "add":
            own[kivdb("add", "t", *pairs).rstrip()] = values
        elif step == "set":
            number = chance.choice([*own])
            own[number] = values
            kivdb("set", "t", number, *pairs)
        elif step == "delete":
            number, _ = own.popitem()
            assert kivdb("delete", "t", number) == "1\n", number
        else:
            text = kivdb("list", "t", "-o", "csv")
            rows = [row.split(",") for row in text.split("\r\n")]
            seen = {number: (name, port) for number, name, port in rows[1:-1]}
            for name, port in seen.values():
                other, counter, rest = name.split("-")
                assert int(other) * 1000000 + int(counter) == int(port), (name, port)
                assert set(rest) <= {"x"}, name
            assert len(seen) == len(rows) - 2, rows
            assert own.items() <= seen.items(), own.items() - seen.items()
    return own


def beside(root):
    directory = make_table(root, "t")
    with ThreadPoolExecutor(4) as pool:
        owned = list(pool.map(change_beside, [root] * 4, range(1, 5)))
    wanted = {number: "{}|{}|".format(*values).encode() for own in owned
              for number, values in own.items()}
    assert len(wanted) == sum(map(len, owned)), owned
    assert read_table(directory) == wanted, (read_table(directory), wanted)
    assert run([KIVDB, "-r", root, "check"]) == (b"", b"")


def streams(root):
    """What is listed is read as it is printed, and not kept."""
    for words in ["json"], ["json", "--unsorted"], ["table", "--unsorted"]:
        directory = make_big_table(root, "t", 20000)
        words = [KIVDB, "-r", root, "list", "t", "-o", *words]
        with subprocess.Popen(words, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL) as process:
            output = process.stdout.read(1)
            shutil.rmtree(directory)
            output += process.stdout.read()
        assert 1000 < output.count(b"\n") < 20000, (words, output[-100:])


def main():
    random.seed(SEED)
    run_each(ended_runs, looking, owner, beside, streams)


main()
