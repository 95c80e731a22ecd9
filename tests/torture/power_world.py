"""Databases that are changed at random, and what of it has to be on disk when."""
import math
import os
import random

from common import call, ini, write_file
from power_tree import State

RELEASES = ["s a b: 1,x,1; 2,x,1; 3,x,1; 4,x,1\nt a b: 1,x,1; 2,y,2; 3,z,3",
            "s a b c: 1,y,1,7; 2,y,2,8; 3,x,1,9; 5,x,1,9\nt a b: 1,x,1; 2,y,7"]
PLACE = ["--id=1", "--host=h"]
COLUMNS = ["id:int,a:varchar,b:varchar", "id:int,b:varchar,a:varchar",
           "id:bigint,b:varchar,a:varchar", "id:int,a:varchar,c:varchar,b:varchar",
           "id:int,c:varchar,b:varchar,a:varchar"]
PLANTS = ["file", "directory", "unlink first", "rename alone", "in place"]
UPGRADE = ["upgrade"]
REPAIR = ["check", "-q", "--repair", "--restore"]
KILLED = ("put", "update", "set", "migrate", "upgrade", "check")
LONG = KILLED[3:]


class Operation:
    """is_whole: not killed; after: what then was there; certain: what it changed and
    always changes to the same."""

    def __init__(self, root, words):
        self.root, self.words = root, words
        self.kind = words.split("\t")[0] if isinstance(words, str) else words[0]


class World:
    def __init__(self, disk, options, seed, plant):
        self.disk, self.top, self.options, self.plant = disk, disk.top, options, plant
        self.seed, self.random, self.now = seed, random.Random(seed), disk.clock(b"")
        self.releases = [f"{os.path.dirname(self.top)}/{i}.ini" for i in range(2)]
        for path, release in zip(self.releases, RELEASES):
            write_file(path, ini(release))
        self.operations, self.changes, self.state = [], {}, State(self.top)
        self.roots, self.tables = {}, {}  # when they were made
        self.columns = {}  # all that the tables had
        self.torn = set()  # roots, after a kill
        self.next = []  # what goes together
        self._run(Operation("r0", ["create", self.releases[0], *PLACE]))

    def run(self, root, words, **environment):
        """By the tool, or by the library when told as a text; gives (status, text)."""
        program = [self.options.hand, root, *words.split("\t")] \
            if isinstance(words, str) else [self.options.kivdb, "-r", root, *words]
        status, text, errors = call(program, cwd=self.top, input=b"",
                                    env=os.environ | environment)
        return status, errors + text

    def _note(self, begin, end, after):
        """What is different, at the time; end is None for what no one was told.  Gives
        of which it is certain what was there before."""
        old = self.state.records
        changed = {key for key in {*old, *after.records}
                   if old.get(key) != after.records.get(key)}
        certain = {key for key in changed if len(self.allowed(key, math.inf)) == 1}
        for key in changed:
            done = self.changes.setdefault(key, [])
            if old.get(key, (None, False))[1]:  # is overwritten at once
                done.append((begin, None, None))
            done.append((begin, end, after.value(key)))
        for table, columns in after.columns.items():
            self.tables.setdefault(table, (begin, end))
            self.columns.setdefault(table, []).append(columns)
        return certain

    def step(self):
        operation = Operation(*reversed(self._pick()))
        number = self.random.randint(1, 40 if operation.kind in LONG else 6)
        is_killed = not self.plant and operation.kind in KILLED and \
            self.random.random() < 0.3
        self._run(operation, number if is_killed else -1)
        if not operation.is_whole:
            age(self.top)
            self.torn.add(operation.root)
            if self.random.random() > 0.3:
                self._run(Operation(operation.root, REPAIR))

    def _run(self, done, stop=-1):
        status, errors = self.run(
            done.root, done.words, **dict([self.options.preload.split("=", 1)]),
            KIVDB_STOP_AT=str(stop), KIVDB_SYNC_SEED=str(self.random.randrange(1 << 30)),
            KIVDB_PLANT=self.plant if done.kind == "put" else "")
        done.begin, self.now = self.now, self.disk.clock(errors)
        done.end, done.after = self.now, State(self.top)
        done.is_whole = status in ((0, 1) if done.kind in LONG else (0,))
        is_refused = b"columns change" in errors  # as a kill left others
        assert done.is_whole or stop > 0 or done.root in self.torn or is_refused, \
            (done.root, done.words, status, errors)
        end = done.end if done.is_whole else None
        done.certain = self._note(done.begin, end, done.after)
        self.roots.setdefault(done.root, (done.begin, end))
        self.operations.append(done)
        if done.is_whole and done.words is REPAIR:
            self.torn.discard(done.root)
        self.state = done.after

    def _value(self):
        return self.random.choice("abcdefgh") * self.random.choice([1, 1, 2, 300, 1300])

    def _pick(self):
        """The words of an operation, and the root."""
        pick = self.random
        if self.torn and pick.random() < 0.5:
            return REPAIR, min(self.torn)
        if self.next:
            return self.next.pop(), "r0"
        root, file = pick.choice(sorted(self.roots)), pick.choice(self.releases)
        table = pick.choice(sorted(t for r, t in self.state.columns if r == root))
        columns = self.state.columns[root, table]
        ids = sorted(i for r, t, i in self.state.records if (r, t) == (root, table))
        number, one = pick.choice(ids or [""]), f"{columns[1]}={self._value()}"
        record = ",".join(self._value() for _ in columns[1:])
        if self.plant:
            return f"put\t{table}\t{number},{record}", root
        fresh, other = f"n{len(self.tables)}", f"r{len(self.roots)}"
        is_there, has_room = bool(ids), len(self.tables) < 8
        if len(self.roots) < 3 and has_room and pick.random() < 0.05:
            return pick.choice([["create", file, *PLACE], f"create\t{file}"]), other
        weights, words = zip(
            (6 * is_there, f"put\t{table}\t{number},{record}"),
            (3, f"put\t{table}\t{pick.randint(1, 12)},{record}"),
            (3 * is_there, f"update\t{table}\t{number}\t{one}"),
            (3 * is_there, ["set", table, number, one]),
            (2, f"add\t{table}\t{record}"), (1, ["add", table, one]),
            (2 * is_there, f"delete\t{table}\t{number}"),
            (is_there, ["delete", table, number]),
            (has_room, f"add_table\t{fresh}\tid(int),a(varchar),b(varchar)"),
            (has_room, ["add-table", fresh, "id:int,a:varchar,b:varchar"]),
            (3, ["migrate", table, pick.choice(COLUMNS), "--force"]),
            (2, f"migrate\t{table}\t{pick.choice(COLUMNS)}"), (1, REPAIR),
            (2 * (root == "r0"), UPGRADE))
        words = pick.choices(words, weights)[0]
        if words is UPGRADE:  # with the columns that both releases begin with
            self.next = [["upgrade", file, "--prune"], f"migrate\tt\t{COLUMNS[0]}"]
            self.next[0] = pick.choice([self.next[0], f"upgrade\t{file}\t"])
            words = f"migrate\ts\t{COLUMNS[0]}"
        return words, root

    def at(self, cut):
        """What was under way, or what does nothing."""
        return next((o for o in self.operations if o.begin < cut < o.end),
                    Operation("", ""))

    def allowed(self, key, cut):
        """What its values may be; a save that is acknowledged leaves but one."""
        values = {None}
        for begin, end, value in self.changes.get(key, []):
            if begin >= cut:
                break
            is_forced = end is not None and end <= cut and value is not None
            values = {value} if is_forced else values | {value}
        return values


def age(top):
    """Nothing may be of a save at work."""
    for path, _, files in os.walk(top):
        for name in files if "/kiv/database/" in path else ():
            os.utime(f"{path}/{name}", (1e9, 1e9))
