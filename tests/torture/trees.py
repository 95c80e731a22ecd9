#!/usr/bin/env python3
"""Every command on bad trees: trees.py KIVDB HAND [--seconds N] [--seed S]

HAND is the program of hand.cc.  Nothing may hang, die, take memory without end, touch
what is outside of the root, or the table beside.
"""
import argparse
import itertools
import os
import random
import resource
import shutil
import signal
import stat
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from tempfile import TemporaryDirectory

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) + "/../tools")
from common import ini, read_file, read_table, run, tree_of, write_file

NOBODY, MEMORY = 65534, 512 << 20
OLD = "good name port: 1,a,1; 2,b,2\nbad name port: 1,a,1; 2,b,2"
OUTSIDE = {"file": b"id[int]|name[varchar]|port[int]\n", "old.ini": ini(OLD),
           "new.ini": ini(OLD + "; 9,x,9\nnew name: 1,n"), "lines": b"add bad name=x\n",
           "rows.csv": b"id,port\r\n1,8\r\n2,8\r\n"}
# @t stands for a table, @i for an id, @o for the directory outside.
TOOL = """tables; schema; schema -- @t; list -- @t; list --unsorted -- @t name=a; dump
get -- @t @i; get -- @t @i name; diff @o/old.ini; diff @o/db; backup -; watch @t; check
check -- @t; check --repair; check --repair --restore -- @t; check --repair --discard
add -- @t name=x; add --replace --id=@i -- @t name=x; set -- @t @i port=7; edit -- @t @i
delete --force -- @t @i 3; delete --where=name=a -- @t; batch @o/lines
import --update -- @t @o/rows.csv; import --replace -- @t @o/rows.csv
add-table new id:int,name:varchar; migrate -- @t id:int,name:varchar,port:int,more:int
migrate -- @t id:int,name>other:varchar,port:bigint; drop-table --force -- @t
clear --force -- @t; upgrade @o/new.ini; upgrade --prune @o/new.ini; create @o/old.ini
restore @o/good.tar"""
HAND = """put @t @i,x,1; add @t x,1; update @t @i port=9; delete @t @i; read @t @i; open
list @t @i; recover @t; clear @t; create @o/old.ini; add_table new a(int),b(int); drop
check_add_table new @o/new.ini; drop_table @t; upgrade @o/new.ini; finish
migrate @t id:int,name:varchar,port:int,more:int"""
COMMANDS = [(is_tool, line) for is_tool, lines in ((True, TOOL), (False, HAND))
            for line in lines.replace("\n", "; ").split("; ")]
# Otherwise 0, on a sound tree.
STATUSES = {(True, "create @o/old.ini"): 1, (True, "restore @o/good.tar"): 1,
            (True, "watch @t"): 124, (False, "drop_table @t"): 14}

NAMES = [" ", "\n", "a\nb", "\t", "...", ".hidden", "\udcff\udcfe", "-", "--", "-6", "+1",
         "007", "4294967295", "2147483647", "9" * 20, "n" * 255, "n" * 251, "3.tmp", "*",
         "3.tmp.tmp", ".tmp", ".ADD", "1.UPDATE", "1~", ".1.swp", "a|b", "a,b=c",
         "\x1b[2J", "%s%n"]
TOP = ["kiv", "kiv/schema", "kiv/database"]
BAD = "kiv/database/bad"
PLACES = [*TOP, BAD, "kiv/schema/bad", "kiv/schema/new", "kiv/database/new",
          *("kiv/" + name for name in ("base.ini", "removed", "migrate", "migrate/bad",
                                       "migrate/stage", "migrate/bad/old")),
          *(f"{BAD}/{name}" for name in ("1", "1.tmp", "3.tmp", "x.ADD"))]


def link(to):
    return lambda path, outside: os.symlink(to.replace("@o", outside), path)


def node(mode, minor=0):
    return lambda path, _: os.mknod(path, mode | 0o666, os.makedev(1, minor))


def content(text, size=None):
    def write(path, _):
        write_file(path, text)
        os.truncate(path, size or len(text))
    return write


def make_directory(path, _):
    os.mkdir(path)
    write_file(path + "/1", b"a|1|")


KINDS = {
    "link to a file": link("@o/file"), "link to a directory": link("@o/dir"),
    "link to nothing": link("@o/none"), "link to zero": link("/dev/zero"),
    "link to full": link("/dev/full"), "link to where it is": link("."),
    "link to itself": lambda path, _: os.symlink(os.path.basename(path), path),
    "FIFO": node(stat.S_IFIFO), "socket": node(stat.S_IFSOCK),
    "device zero": node(stat.S_IFCHR, 5), "device full": node(stat.S_IFCHR, 7),
    "directory": make_directory, "huge": content(b"a|", 3 << 30), "empty": content(b""),
    "cut": content(b"id[int]|na"), "record": content(b"a|1|"),
    "binary": content(bytes(range(256)) * 20), "zero bytes": content(b"a\0b|\0|"),
    "long line": content(b"x" * 10**7 + b"|1|"), "forbidden": None}
HOSTILE = [*itertools.product(PLACES, KINDS), *itertools.product([*TOP[1:], BAD], NAMES),
           *itertools.product(["/", "."], [*range(4060, 4096), 4200])]  # roots so long


class Tree:
    def __init__(self, top, entries=(), owner=None, runner=None):
        self.top, self.root, self.outside = top, top + "/root", top + "/outside"
        self.word, self.table, self.id, self.runner = self.root, "bad", "1", runner
        self.has_good = self.is_strict = True
        self.linked = []  # outside, but a part of the database
        shutil.copytree(args.template, top, dirs_exist_ok=True)
        for where, what in entries:
            try:
                self.place(where, what)
            except OSError:  # another entry is in the way, or there is no right to it
                continue
        if owner is not None:
            run(["chown", "-hR", str(owner), top])
        os.chmod(top, 0o755)
        self.good, self.before, self.names = self.read_good(), self.state(), self.list()

    def place(self, where, what):
        """Puts the entry in the place of what is there."""
        path = f"{self.root}/{where}"
        if where in ("/", "."):  # what must be cut then has another name
            start, self.is_strict = self.top if where == "/" else ".", False
            dots = what - len(start) - len("/root")
            self.word = start + "/." * (dots // 2) + "/" * (dots % 2) + "/root"
        elif what not in KINDS:
            self.table, self.id = ("bad", what) if where == BAD else (what, "1")
            make = make_directory if where == TOP[2] else content(OUTSIDE["file"])
            make(f"{path}/{what}", None)
        elif what == "forbidden":
            os.chmod(path, 0)
            self.has_good &= where not in TOP
        else:
            os.makedirs(os.path.dirname(path), exist_ok=True)
            if os.path.lexists(path):
                os.rename(path, f"{self.top}/{where.replace('/', '-')}")
            KINDS[what](path, self.outside)
            self.has_good &= where not in TOP
            self.is_strict &= what != "link to where it is"
            if "link" in what and (where in TOP or where == BAD):
                self.linked.append("/dir/")

    def state(self):
        """All outside that a command must leave, with the contents."""
        tree = tree_of(self.outside, False)
        state = {path: (s, os.path.isfile(path) and s[2] < 10**8 and read_file(path))
                 for path, s in tree.items() if not any(w in path for w in self.linked)}
        return state, [os.stat("/dev/" + name)[:6] for name in ("zero", "full")]

    def read_good(self):
        path = self.root + "/kiv/database/good"
        return self.has_good and read_table(path)

    def list(self):
        return [set(os.listdir(path)) if os.access(path, os.R_OK) and os.path.isdir(path)
                else set() for path in (f"{self.root}/{p}" for p in ("", *TOP))]

    def call(self, program, words, text=b""):
        user = {"user": self.runner, "group": self.runner, "extra_groups": []}
        limit = "0.3" if "watch" in words[2:3] else "60"
        done = subprocess.run(
            ["timeout", "-k9", limit, program, *words], cwd=self.top, input=text,
            stdout=subprocess.PIPE if text else subprocess.DEVNULL,
            stderr=subprocess.PIPE, **user if self.runner is not None else {})
        return done.returncode, done.stdout, done.stderr

    def faults(self, is_tool, line):
        """Runs it; gives what is wrong with that and with what it left."""
        words = line.split()
        for name, value in ("@t", self.table), ("@i", self.id), ("@o", self.outside):
            words = [word.replace(name, value) for word in words]
        if is_tool:
            status, _, err = self.call(args.kivdb, ["-r", self.word, *words])
            is_odd = any(not x.startswith(b"kivdb: ") for x in err.splitlines())
            known = 0, 1, 2, STATUSES.get((True, line))
            if status not in known or (status == 2 and not err):
                yield f"status {status}: {err[:500]}"
            if b"\x1b" in err or is_odd and b"--help" not in err:
                yield f"odd lines: {err[:500]}"
            self.status = status
        else:
            text = os.fsencode("\t".join(words) + "\n")
            status, out, err = self.call(args.hand, [self.word], text)
            if status != 0 or out.count(b"\n") != text.count(b"\n"):
                yield f"status {status}: {out[:500]} {err[-500:]}"
            self.status = out.split() and int(out.split()[0])
        if b"Sanitizer" in err or b"runtime error:" in err:
            yield f"sanitizer: {err[:3000]}"
        before, self.before = self.before, self.state()
        if self.before != before:
            yield f"outside: {before}, now {self.before}"
        known = {"schema", "database", "base.ini", "migrate", "removed"}
        tables = {"good", "bad", "new"}.union(*self.names[2:])
        known = [{"kiv"}, known, tables, tables]
        for old, new, names in zip(self.names, self.list(), known):
            if self.is_strict and new - old - names:
                yield f"made: {new - old - names}"
        if line == "drop":
            self.has_good = self.good = False
        if self.read_good() != self.good:
            yield f"the table beside: {self.read_good()}"
        beside = ["-r", self.root, "list", "good"]
        if self.has_good and self.call(args.kivdb, beside)[0] != 0:
            yield "the table beside cannot be read"


def play(seed, entries, commands, users):
    with TemporaryDirectory() as top:
        tree = Tree(top, entries, *users)
        faults = [f"{command}: {fault}" for command in commands
                  for fault in tree.faults(*command)]
    for fault in faults:
        print(f"--seed {seed}: {entries} of {users}, {fault}", file=sys.stderr)
    return len(faults)


def play_all(what, rounds, end, note):
    counts = []
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        while batch := list(itertools.islice(rounds, 4 * os.cpu_count())):
            counts += pool.map(play, *zip(*batch))
            if time.monotonic() > end:
                break
    print(what, len(counts), sum(counts), note, sep="\t", flush=True)
    return sum(counts)


def check_itself():
    """Every command does its work on a sound tree, and harm is seen."""
    for command in COMMANDS:
        with TemporaryDirectory() as top:
            tree = Tree(top)
            faults = list(tree.faults(*command))
            assert not faults and tree.status == STATUSES.get(command, 0), (
                command, tree.status, faults)
    for harm in "echo >outside/file", "rm root/kiv/database/good/1", "echo >root/x":
        with TemporaryDirectory() as top:
            tree = Tree(top)
            run(["sh", "-c", harm], cwd=top)
            assert list(tree.faults(True, "tables")), harm
    with TemporaryDirectory() as top:
        tree = os.geteuid() == 0 and Tree(top, (), NOBODY, NOBODY)
        return tree and tree.call(args.kivdb, ["-r", tree.root, "tables"])[0] == 0


def make_template(top):
    outside = top + "/outside"
    make_directory(outside, None)
    make_directory(outside + "/dir", None)
    for name, text in {**OUTSIDE, "dir/1.tmp": b"a|1|", "dir/x.ADD": b""}.items():
        write_file(f"{outside}/{name}", text)
    for root in top + "/root", outside + "/db":
        run([args.kivdb, "-r", root, "create", "--host=h", outside + "/old.ini"])
    run([args.kivdb, "-r", top + "/root", "backup", outside + "/good.tar"])


def main():
    begin, users, note = time.monotonic(), [(None, None)], ""
    if check_itself():
        users += [(NOBODY, NOBODY), (NOBODY, None)]
    else:
        note = "left out without root: another user"
    pairs = list(itertools.product(HOSTILE, COMMANDS))
    random.Random(args.seed).shuffle(pairs)
    each = ((args.seed, [entry], [command], user)
            for (entry, command), user in zip(pairs, itertools.cycle(users)))

    def choose(seed):
        chance = random.Random(seed)
        return (seed, chance.sample(HOSTILE, chance.randint(2, 6)),
                chance.sample(COMMANDS, 6), chance.choice(users))

    faults = play_all("bad trees, each command", each, begin + args.seconds * 0.6,
                      f"of {len(pairs)} " + note)
    faults += play_all("bad trees, at random", map(choose, itertools.count(args.seed)),
                       begin + args.seconds, note)
    sys.exit(faults > 0)


parser = argparse.ArgumentParser()
for program in "kivdb", "hand":
    parser.add_argument(program, type=os.path.abspath)
parser.add_argument("--seconds", type=float, default=60)
parser.add_argument("--seed", type=int, default=1)
args = parser.parse_args()
signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
os.environ["VISUAL"] = "sed -i s/^port.*/port=9/"
if b"__asan_init" not in read_file(args.kivdb):
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
with TemporaryDirectory() as args.template:
    make_template(args.template)
    main()
