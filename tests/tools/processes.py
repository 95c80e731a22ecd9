#!/usr/bin/env python3
"""The tool as a process among others: processes.py KIVDB SEED"""
import fcntl
import os
import random
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import threading
import time

from common import (make_table, need, read_table, run, run_each, tree_of, wait_until,
                    write_file)

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


def waits_for_lock(root):
    directory = make_table(root, "t", {1: b"a|1|"})

    def start():
        process = subprocess.Popen([KIVDB, "-r", root, "set", "t", "1", "port=2"])
        time.sleep(0.3)
        return process
    lock = os.open(directory, os.O_RDONLY)
    fcntl.flock(lock, fcntl.LOCK_SH)
    for number in signal.SIGINT, signal.SIGTERM:
        process = start()
        process.send_signal(number)
        assert process.wait(10) == -number
    process = start()
    assert process.poll() is None and read_table(directory) == {"1": b"a|1|"}
    os.close(lock)
    assert process.wait(10) == 0 and read_table(directory) == {"1": b"a|2|"}


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
    for path, _, names in os.walk(root):
        for name in [".", *names]:
            os.chmod(os.path.join(path, name), 0o755 if name == "." else 0o444)
            os.utime(os.path.join(path, name), (978307200, 978307300))


def looking(root):
    """Leaves no trace, and needs no right to write."""
    make_looked_at(root)
    answers = {}
    for user in ({}, NOBODY) if IS_ROOT else ({},):
        for line in LOOKING:
            # A dry run opens the table as a change does.
            has_access = not user and "dry-run" not in line
            before = tree_of(root, has_access)
            done = subprocess.run([KIVDB, *line.split()], cwd=root, env=ENV,
                                  capture_output=True, **user)
            answer = done.returncode, done.stdout, done.stderr
            assert done.stdout, (line, done)
            assert answers.setdefault(line, answer) == answer, (line, done)
            after = tree_of(root, has_access)
            assert before == after, (line, user, before.items() ^ after.items())


def closed_doors(root):
    """What cannot be read is trouble, and is named."""
    directory = make_table(root, "t", {1: b"a|1|", 2: b"b|2|"})
    os.chmod(root, 0o755)
    for path, words, wanted in [
            (directory + "/1", "list t -o ids", b"t/1: Permission denied"),
            (directory + "/1", "get t 1", b"t/1: Permission denied"),
            (directory, "list t", b"t: cannot read the table: Permission denied"),
            (directory, "check", b"t: cannot read the table: Permission denied"),
            (root + "/kiv/schema/t", "get t 2", b"the schema: Permission denied"),
            (root + "/kiv/schema", "tables", b": Permission denied"),
            (root + "/kiv", "tables", b": Permission denied"),
            (root, "tables", b": Permission denied")]:
        mode = stat.S_IMODE(os.stat(path).st_mode)
        os.chmod(path, 0)
        done = subprocess.run([KIVDB, "-r", root, *words.split()], capture_output=True,
                              env=ENV, **NOBODY)
        os.chmod(path, mode)
        assert done.returncode == 2 and wanted in done.stderr, (path, words, done)


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
    for path, _, names in os.walk(root):
        for name in [".", *names]:
            os.utime(f"{path}/{name}", (978307200, 978307200))
            os.chown(f"{path}/{name}", OWNER, OWNER)
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
    paths = [os.path.join(path, name) for path, directories, names in os.walk(root)
             for name in directories + names]
    strangers = [path for path in paths
                 if (os.lstat(path).st_uid, os.lstat(path).st_gid) != (OWNER, OWNER)]
    assert not strangers and len(paths) > 20, (strangers, paths)
    assert {"removed", "schema", "database"} == set(os.listdir(root + "/kiv"))


class CWorker(threading.Thread):
    """Changes records of its own, and sees that they are as it left them."""

    live = {}  # the ids of all, each with a mark of its own

    def __init__(self, root, number):
        super().__init__()
        self.root, self.number, self.counter = root, number, 0
        self.random = random.Random(SEED * 100 + number)
        self.own, self.error, self.done = {}, None, 0

    def kivdb(self, *words):
        return run([KIVDB, "-r", self.root, *words])[0].decode()

    def values(self):
        self.counter += 1
        text = f"{self.number}-{self.counter}-"
        port = str(self.number * 1000000 + self.counter)
        return text + "x" * self.random.choice([0, 10, 1500]), port

    def add(self):
        name, port = self.values()
        number = int(self.kivdb("add", "t", "name=" + name, "port=" + port))
        assert number not in self.live, number
        self.live[number] = object()
        self.own[number] = (name, port)

    def set(self):
        number = self.random.choice(list(self.own))
        self.own[number] = name, port = self.values()
        self.kivdb("set", "t", str(number), "name=" + name, "port=" + port)

    def delete(self):
        number = self.random.choice(list(self.own))
        del self.own[number]
        del self.live[number]  # before: another one may be given it
        output = self.kivdb("delete", "t", str(number))
        assert output == "1\n", (number, output)

    def list(self):
        before = dict(self.live)
        rows = self.kivdb("list", "t", "-o", "csv").split("\r\n")
        assert rows[0] == "id,name,port" and rows[-1] == "", rows
        seen = {}
        for row in rows[1:-1]:
            number, name, port = row.split(",")
            worker, counter = re.fullmatch(r"(\d)-(\d+)-x*", name).groups()
            assert int(worker) * 1000000 + int(counter) == int(port), row
            seen[int(number)] = (name, port)
        assert self.own.items() <= seen.items(), self.own.items() - seen.items()
        stayed = {i for i, mark in before.items() if self.live.get(i) is mark}
        assert stayed <= seen.keys(), stayed - seen.keys()

    def run(self):
        try:
            end = time.monotonic() + 2
            while time.monotonic() < end:
                steps = [self.add, self.list]
                steps += [self.set, self.set, self.delete] if len(self.own) > 2 else []
                self.random.choice(steps)()
                self.done += 1
        except BaseException as error:  # told by the main thread
            self.error = error


def beside(root):
    directory = make_table(root, "t")
    workers = [CWorker(root, number) for number in range(1, 5)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    for worker in workers:
        if worker.error:
            raise worker.error
    wanted = {str(number): f"{name}|{port}|".encode() for worker in workers
              for number, (name, port) in worker.own.items()}
    assert min(worker.done for worker in workers) > 3, [w.done for w in workers]
    assert read_table(directory) == wanted, (read_table(directory), wanted)
    assert run([KIVDB, "-r", root, "check"]) == (b"", b"")


def memory_of(words):
    """The most that the command has while it prints, in KiB, and its lines."""
    need("/proc/self/status")
    most = lines = 0
    with subprocess.Popen(words, stdout=subprocess.PIPE, bufsize=0, env=ENV) as process:
        while piece := process.stdout.read(32768):
            lines += piece.count(b"\n")
            with open(f"/proc/{process.pid}/status", encoding="ascii") as file:
                found = re.search(r"VmHWM:\s*(\d+) kB", file.read())
            most = max(most, int(found[1]) if found else 0)  # none at its end
    assert process.returncode == 0, (words, process)
    return most, lines


def bounds(root):
    """What is listed in the order of the directory is not kept."""
    count = 50000  # some file systems know 65000 links to a file
    directory = make_table(root, "t", {"a": b"a|1|"})
    for i in range(count):
        os.link(directory + "/a", f"{directory}/{i}")
    os.unlink(directory + "/a")
    words = [KIVDB, "-r", root, "list", "t", "-o"]
    json, table, kept = (memory_of(words + more) for more in (
        ["json", "--unsorted"], ["table", "--unsorted"], ["json"]))
    assert json[1] == table[1] + 1 == kept[1] == count + 2, (json, table, kept)
    # The first rows are kept for their widths.
    grown = kept[0] - json[0]
    assert grown > 1024 and table[0] - json[0] < grown / 2, (json, table, kept)


def main():
    random.seed(SEED)
    run_each(ended_runs, waits_for_lock, looking, closed_doors, owner, beside, bounds)


main()
