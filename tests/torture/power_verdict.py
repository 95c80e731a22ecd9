"""Whether what a power cut left is what docs/format.md says."""
import os

from common import call, read_database
from power_tree import State, parse_dump
from power_world import KILLED, REPAIR, age



def require(holds, *what):
    if not holds:
        raise AssertionError(*what)


class Verdict:
    """On the tree at top, left by a power cut at that time of the world."""

    def __init__(self, world, top, cut):
        self.world, self.top, self.cut, self.tools = world, top, cut, world.tools
        self.operation = world.at(cut)
        kind = self.operation.kind if self.operation else ""
        self.is_adding, self.is_upgrading = "table" in kind, kind == "upgrade"
        self.roots = [root for root, (_, end) in world.roots.items() if end <= cut]

    def case(self):
        """Tells whether the same was judged already."""
        tree = [(root, *file) for root in sorted(os.listdir(self.top))
                for file in sorted(read_database(f"{self.top}/{root}").items())]
        done = sum(operation.end <= self.cut for operation in self.world.operations)
        return done, self.operation is None, hash(repr(tree))

    def judge(self):
        first = State(self.top)
        self._compare(first)
        for root in self.roots:  # a schema that is being written may be empty or cut
            self._run(root, "open\n", range(6) if self.is_adding else (0,))
        age(self.top)
        for root in self.roots:
            self._run(root, REPAIR, (0, 1))
            # It decides on no cut schema, no directory that has none yet, and no new
            # record that was cut behind a value.
            status, text = self.tools.run(self.top, root, ["check"])
            is_open = self.is_adding or self.is_upgrading or b" values without" in text
            require(status == 0 or status == 1 and is_open, "check", root, text)
        second = State(self.top)
        self._compare(second)
        for root in self.roots:
            own = {key: values for key, (values, is_temporary) in
                   second.records.items() if key[0] == root and not is_temporary}
            whole = {key: values for key, (values, _) in first.records.items()
                     if key[0] == root}
            require(own == whole, "repair", root, whole, own)
            text = call([self.tools.kivdb, "-r", root, "dump"], cwd=self.top)[1]
            require(own == parse_dump(text, root), "dump", root, text, own)
        if self.operation and self.operation.kind in (*KILLED, "create"):
            self._rerun(self.operation)

    def _run(self, root, words, statuses):
        done = self.tools.run(self.top, root, words)
        require(done[0] in statuses, root, words, *done)

    def _compare(self, state):
        for table, (_, end) in self.world.tables.items():
            columns = state.columns.get(table)
            require(columns in self.world.columns[table] or end is None or
                    end > self.cut, "table", table, columns)
        for key in {*self.world.changes, *state.records}:
            allowed = self.world.allowed(key, self.cut)
            require(state.value(key) in allowed, key, state.value(key), allowed)
        require(not state.broken, "broken records", state.broken)

    def _rerun(self, done):
        is_asked = done.kind in ("upgrade", "create")
        statuses = range(256 if not done.is_whole else 2 if is_asked else 1)
        self._run(done.root, done.words, statuses)
        state = State(self.top)
        for key in done.changed if done.is_whole else ():
            end = done.after.value(key)
            # A kill or a deletion before may have left what the run did not meet.
            is_certain = len(self.world.allowed(key, done.begin + 1) - {end}) < 2
            require(not is_certain or state.value(key) == end, "again", key, end)
