"""Whether what a power cut left is what docs/format.md says."""
from power_tree import State, parse_dump
from power_world import KILLED, REPAIR, age


class Fault(Exception):
    """What no cut may leave."""


def require(holds, *what):
    if not holds:
        raise Fault(*what)


def run(world, root, words, statuses):
    status, text = world.run(root, words)
    require(status in statuses, root, words, status, text)
    return status, text


def judge(world, cut):
    """The tree that a cut at that time left."""
    operation, first = world.at(cut), State(world.top)
    is_adding, is_upgrading = "table" in operation.kind, operation.kind == "upgrade"
    roots = [root for root, (_, end) in world.roots.items() if end <= cut]
    compare(world, cut, first)
    for root in roots:  # a schema that is being written may be empty or cut
        run(world, root, "open", range(6) if is_adding else (0,))
    age(world.top)
    for root in roots:
        run(world, root, REPAIR, (0, 1))
        # It decides on no cut schema, no directory that has none yet, and no new record
        # that was cut behind a value.
        status, text = run(world, root, ["check"], (0, 1))
        is_open = is_adding or is_upgrading or b" values without" in text
        require(status == 0 or is_open, "check", root, text)
    second = State(world.top)
    compare(world, cut, second)
    for root in roots:
        own = {key: values for key, (values, is_temporary) in second.records.items()
               if key[0] == root and not is_temporary}
        whole = {key: values for key, (values, _) in first.records.items()
                 if key[0] == root}
        require(own == whole, "repair", root, whole, own)
        _, text = run(world, root, ["dump"], range(3))
        require(own == parse_dump(text, root), "dump", root, text, own)
    if operation.kind in (*KILLED, "create"):
        rerun(world, operation)


def compare(world, cut, state):
    for table, (_, end) in world.tables.items():
        columns = state.columns.get(table)
        require(columns in world.columns[table] or end is None or end > cut,
                "table", table, columns)
    for key in {*world.changes, *state.records}:
        allowed = world.allowed(key, cut)
        require(state.value(key) in allowed, key, state.value(key), allowed)
    require(not state.broken, "broken records", state.broken)


def rerun(world, done):
    # It has been done already, or something is left that it does not decide.
    is_no = done.kind in ("upgrade", "create", "check")
    statuses = range(256 if not done.is_whole else 2 if is_no else 1)
    run(world, done.root, done.words, statuses)
    state = State(world.top)
    for key in done.certain if done.is_whole else ():
        end = done.after.value(key)
        require(state.value(key) == end, "again", key, state.value(key), end)
