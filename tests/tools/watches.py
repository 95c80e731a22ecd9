#!/usr/bin/env python3
"""watch, beside others that change the tables: watches.py KIVDB SEED [TEST]"""
import json
import os
import random
import select
import signal
import subprocess
import sys
import tempfile
import time

from common import (locked, make_table, need, read_file, read_table, run, run_each, save,
                    tree_of, wait_until, write_file)

KIVDB = os.path.abspath(sys.argv[1])
QUEUE_LIMIT = "/proc/sys/fs/inotify/max_queued_events"
SEED = int(sys.argv[2])
LOST = b"kivdb: events were lost, comparing all tables\n"


class CWatch:
    """A watch that is ready, as it or a header says; it writes to files."""

    def __init__(self, root, *words, stdout=None):
        self.directory = tempfile.TemporaryDirectory()
        self.paths = [self.directory.name + name for name in ("/out", "/err")]
        with open(self.paths[0], "wb") as out, open(self.paths[1], "wb") as err:
            self.process = subprocess.Popen([KIVDB, "-r", root, "watch", *words],
                                            stdout=stdout or out, stderr=err)
        self.wait(lambda: b"kivdb: watching " in self.errors() or self.output())

    def output(self):
        return read_file(self.paths[0])

    def errors(self):
        return read_file(self.paths[1])

    def wait(self, what):
        try:
            wait_until(lambda: what() or self.process.poll() is not None)
            assert what()
        except AssertionError:
            self.process.kill()
            raise AssertionError((self.process, self.output()[-2000:], self.errors()))

    def wait_for(self, output):
        self.wait(lambda: len(self.output()) >= len(output))
        assert self.output() == output, (self.output(), output)

    def end(self, status=0, number=signal.SIGINT):
        if number:
            self.process.send_signal(number)
        assert self.process.wait(50) == status, (self.process, self.errors())
        return self.errors()


def change_at_random(directory, seed, count, log):
    chance = random.Random(seed)
    for i in range(count):
        number = chance.randrange(1, 30)
        with locked(directory):
            if os.path.exists(f"{directory}/{number}") and chance.random() < 0.3:
                os.unlink(f"{directory}/{number}")
                change = "-"
            else:
                change = save(directory, number, b"n%d-%d|%d|" % (seed, i, i))
            os.write(log, f"{change} {number}\n".encode())


def under_load(root):
    """Each of 10,000 changes is told once, in their order."""
    directory = make_table(root, "t", {i: b"a|1|" for i in range(9)})
    state = {int(i): line for i, line in read_table(directory).items()}
    watch = CWatch(root, "-o", "jsonl")
    log = os.open(root + "/log", os.O_WRONLY | os.O_CREAT | os.O_APPEND)
    children = []
    for i in range(5):
        children.append(os.fork())
        if children[-1] == 0:
            change_at_random(directory, SEED * 10 + i, 2000, log)
            os._exit(0)
    assert [os.waitpid(child, 0)[1] for child in children] == [0] * 5
    watch.wait(lambda: watch.output().count(b"\n") >= 10000)
    assert watch.end() == b"kivdb: watching 1 table\n"
    told = []
    for seen in map(json.loads, watch.output().splitlines()):
        number, new = seen["id"], seen["new"]
        assert (seen["change"] == "+") == (number not in state), (seen, state)
        if seen["change"] == "-":
            del state[number]
        else:
            line = f"{new['name']}|{new['port']}|" if new else ""
            state[number] = line.encode() or state.get(number)
        told.append(f"{seen['change']} {number}")
    assert told == read_file(root + "/log").decode().splitlines()
    assert {str(i): line for i, line in state.items()} == read_table(directory)


# What is done in the directory of the tables, and what is told of it.
SAVES = [
    ("$K add t --id 3 port=1", '+ t/3 name="" port=1'), ("$K set t 3 port=1", ""),
    ("$K set t 3 port=2", "~ t/3 port: 1 -> 2"),
    ("$K delete t 3", '- t/3 name="" port=2'),
    ("flock t sed -i s/a/b/ t/1", "~ t/1 name: a -> b"),
    ("printf 'b|2|' >t/1", "~ t/1 port: 1 -> 2"), ("touch t/1", "~ t/1"),
    ("printf 'c d|3|' >t/3", '+ t/3 name="c d" port=3'),
    ("mv t/3 t/4", '- t/3 name="c d" port=3\n+ t/4 name="c d" port=3'),
    ("ln t/1 t/5; ln -s 1 t/6", "+ t/5 name=b port=2\n+ t/6 name=b port=2"),
    ("rm t/5 t/6", "- t/5 name=b port=2\n- t/6 name=b port=2"),
    ("echo 'e|5|' >e; mv e t/1; echo 'f|5|' >e; mv e t/e",
     "~ t/1 name: b -> e\n~ t/1 port: 2 -> 5\n+ t/e name=f port=5"),
    ("mkdir t/7; mkfifo t/8; touch t/x.ADD t/4.tmp; rm t/8; mv t/x.ADD .; rm t/e",
     "- t/e name=f port=5"),
    ("rm t/4", '- t/4 name="c d" port=3'),  # its temporary file stays
    ("mv t/4.tmp t/4; rm t/4", "+ t/4\n- t/4"),
    ("printf x >t/1", "~ t/1"), ("printf 'x|1|' >t/1", "~ t/1"),
    ("echo 'id[int]|label[varchar]|port[int]' >s; mv s ../schema/t; printf 'y|1|' >t/1",
     "~ t/1 label: x -> y"),
]


def saves(root):
    """However it is done, a change is told once."""
    make_table(root, "t", {1: b"a|1|"})
    watch, wanted = CWatch(root, "t"), b""
    database, env = root + "/kiv/database", os.environ | {"K": KIVDB + " -r ../.."}
    for script, told in SAVES:
        # Without the pauses between: what is read is what was written.
        watch.process.send_signal(signal.SIGSTOP)
        run(["sh", "-c", script], cwd=database, env=env)
        watch.process.send_signal(signal.SIGCONT)
        wanted += told.encode() + b"\n" * bool(told)
        watch.wait_for(wanted)
    with locked(database + "/t"):
        save(database + "/t", 2, b"g|1|")
        os.unlink(database + "/t/2")
        save(database + "/t", 2, b"h|1|")
    # The first may have been read as what the second made of it.
    watch.wait(lambda: watch.output()[len(wanted):].count(b"\n") == 3)
    told = watch.output()[len(wanted):].splitlines()
    assert [line[:5] for line in told] == [b"+ t/2", b"- t/2", b"+ t/2"], told
    assert told[2] == b"+ t/2 label=h port=1", told
    errors = watch.end(number=signal.SIGTERM)
    assert errors == b"kivdb: watching 1 table\nkivdb: t/1: 1 of 2 values\n" + \
        b"kivdb: t/4: empty record\n" * errors.count(b"t/4"), errors


def exchange(root, schema, records):
    """A table by another one, as a migration does it: not at once."""
    make_table(root + "/new", "t", records, schema)
    with locked(root + "/kiv/schema"):
        os.rename(root + "/kiv/database/t", root + "/old")
        time.sleep(0.3)
        for path in "/kiv/schema/t", "/kiv/database/t":
            os.rename(root + "/new" + path, root + path)


def tables(root):
    make_table(root, "t", {1: b"a|1|", 2: b"b|2|", 3: b"c|3|"})
    make_table(root, "u", {1: b"a|1|"})
    every, named = CWatch(root), CWatch(root, "t", "u", "t", "-o", "jsonl")
    exchange(root, b"id[int]|port[int]|name[varchar]|note[varchar]\n",
             {1: b"1|a||", 2: b"2|b|x|", 4: b"4|d||"})
    wanted = b'~ t/2 note: "" -> x\n+ t/4 port=4 name=d note=""\n- t/3 name=c port=3\n'
    every.wait_for(wanted)
    named.wait(lambda: named.output().count(b"\n") == 3)
    first = json.loads(named.output().splitlines()[0])
    assert first == {"change": "~", "table": "t", "id": 2,
                     "old": {"id": 2, "name": "b", "port": 2},
                     "new": {"id": 2, "port": 2, "name": "b", "note": "x"}}, first
    run(["rm", "-r", "kiv/database/t", "kiv/schema/t"], cwd=root)
    for watch in every, named:
        watch.wait(lambda: watch.errors().endswith(b"kivdb: t: the table is gone\n"))
    assert named.output().count(b"\n") == 6, named.output()
    lines = ["add-table t id:int,x:int", "add t x=7", "add-table v id:int,x:int",
             "add v x=8", "drop-table t --force", "drop-table u --force"]
    for line in lines:
        run([KIVDB, "-r", root, *line.split()])
    assert named.end(1, None).endswith(b"kivdb: u: the table is gone\n")
    every.wait(lambda: every.errors().count(b"gone") == 3)
    told = every.output().splitlines()[6:]
    assert sorted(told) == sorted([b"+ t/1 x=7", b"+ v/1 x=8", b"- t/1 x=7",
                                   b"- u/1 name=a port=1"]), told
    run(["rm", "-r", root + "/kiv"])
    assert every.end(1, None).endswith(b"kivdb: the database is gone\n")


def make_events(directory, share):
    """Twice this share of what the kernel keeps for a watch, and some more."""
    need(QUEUE_LIMIT)
    for i in range(int(int(read_file(QUEUE_LIMIT)) * share) + 10):
        os.link(directory + "/1", f"{directory}/{i % 2}.tmp")
        os.unlink(f"{directory}/{i % 2}.tmp")


def overflow(root):
    """What the kernel has dropped is found by a look at everything."""
    directory = make_table(root, "t", {i: b"a|1|" for i in (1, 2, 3)})
    make_table(root, "u", {1: b"a|1|"})
    watch = CWatch(root)
    watch.process.send_signal(signal.SIGSTOP)
    make_events(directory, 1)
    save(directory, 1, b"a|2|")
    os.unlink(directory + "/2")
    save(directory, 3, b"a|1|")
    make_table(root, "new", {5: b"e|5|"})
    run([KIVDB, "-r", root, "drop-table", "u", "--force"])
    watch.process.send_signal(signal.SIGCONT)
    watch.wait(lambda: b"gone" in watch.errors() and watch.output().count(b"\n") == 4)
    assert sorted(watch.output().splitlines()) == [
        b"+ new/5 name=e port=5", b"- t/2 name=a port=1", b"- u/1 name=a port=1",
        b"~ t/1 port: 1 -> 2"], watch.output()
    before = watch.output()
    save(directory, 3, b"a|3|")
    watch.wait_for(before + b"~ t/3 port: 1 -> 3\n")
    assert LOST in watch.end(), watch.errors()


COMMAND = """printf '%s\\n' "$KIVDB_TABLE/$KIVDB_ID $KIVDB_CHANGE $*" >>"$0"
test "$KIVDB_ID" != 1 || read line <"$0.fifo"
read line && echo input >>"$0"; exit 3
"""


def commands(root):
    """One after the other, while what comes meanwhile is kept."""
    directory = make_table(root, "t", {1: b"a|1|"})
    log = root + "/log"
    os.mkfifo(log + ".fifo")
    watch = CWatch(root, "t", "--", "sh", "-c", COMMAND, log, "-x", "--", "-o")
    save(directory, 1, b"a|2|")
    wait_until(lambda: os.path.exists(log))
    make_events(directory, 0.5)
    save(directory, 2, b"b|2|")
    os.unlink(directory + "/2")
    write_file(log + ".fifo", b"go on\n")
    wait_until(lambda: read_file(log).count(b"\n") == 3)
    watch.end()
    assert read_file(log) == b"t/1 ~ -x -- -o\nt/2 + -x -- -o\nt/2 - -x -- -o\n"
    assert watch.output() == b"" and LOST not in watch.errors(), watch.errors()


def absent(root):
    """A command that is not there is told of, and the watch goes on."""
    directory = make_table(root, "t")
    watch = CWatch(root, "--", root + "/none")
    save(directory, 2, b"b|2|")
    save(directory, 3, b"b|2|")
    watch.wait(lambda: watch.errors().count(b"/none: cannot run: No such file") == 2)
    watch.end(number=signal.SIGHUP)


def ends(root):
    """Readers that go or stand still, a quiet run, wrong words, and no trace."""
    directory = make_table(root, "t", {1: b"|1|"})
    before = tree_of(root, True)
    reader, writer = os.pipe()
    watch = CWatch(root, stdout=writer)
    assert tree_of(root, True) == before
    os.close(writer)
    os.close(reader)
    assert watch.end(2, None) == b"kivdb: watching 1 table\n"
    reader, writer = os.pipe()
    watch = CWatch(root, "-o", "jsonl", stdout=writer)
    watch.wait(lambda: save(directory, 1, b"x" * 2000 + b"|1|") and
               not select.select([], [writer], [], 0)[1])
    watch.end()
    for words, status, wanted in [
            (("-qo", "csv"), 0, b"change,table,id,column,old,new\r\n~,t,1,name,,x\r\n"),
            (("-o", "json"), 0, b'[\n{"change":"~","table":"t","id":1,"column":"name",'
                                b'"old":"","new":"x"}\n]\n')]:
        save(directory, 1, b"|1|")
        watch = CWatch(root, *words)
        save(directory, 1, b"x|1|")
        watch.wait(lambda: b"x" in watch.output()[31:])
        errors = watch.end(status)
        assert watch.output() == wanted, watch.output()
        assert (errors == b"") == ("-qo" in words), errors
    for words in "t none", "--none -- true", "t -o xml -- true":
        assert run([KIVDB, "-r", root, "watch", *words.split()], 2)[1].count(b"\n") == 1


def main():
    names = sys.argv[3:] or ("under_load", "saves", "tables", "overflow", "commands",
                             "ends")
    run_each(*[globals()[name] for name in names])


main()
