#!/usr/bin/env python3
"""What check and its repairs do with every leftover: leftovers.py KIVDB SEED

Each record has a state and up to two temporary files, in every combination.  A
model says what is found and where each file is afterwards.
"""
import itertools
import json
import os
import random
import re
import stat
import sys
import tempfile
import time
from collections import namedtuple
from concurrent.futures import ThreadPoolExecutor

from common import make_table, read_file, run, write_file

KIVDB = os.path.abspath(sys.argv[1])
ABSENT, WHOLE, FEW, MORE, EMPTY, CUT, ZERO = range(7)
DIRECTORY, LINK, FIFO = range(7, 10)
RECORDS = [ABSENT, WHOLE, MORE, FEW, EMPTY, DIRECTORY, LINK]
LEFTOVERS = [ABSENT, WHOLE, FEW, MORE, EMPTY, CUT, ZERO, DIRECTORY, LINK, FIFO]
# With each of those, or young, stand these of the other file.
OTHERS = [ABSENT, WHOLE, FEW, CUT]
COMPLETE = [WHOLE, FEW, MORE]
ODD = [DIRECTORY, LINK, FIFO]
CONTENTS = {WHOLE: "{}|{}|", FEW: "{} {}|", MORE: "{}|{}|7|", EMPTY: "",
            CUT: "{}|{}", ZERO: "{}\0|{}|"}
MODES = {"check": [], "repair": ["--repair"], "restore": ["--repair", "--restore"],
         "discard": ["--repair", "--discard"]}
STAY, MOVE, RESTORE = "none", "moved to ", "restored as "
# The record's state, then state and youth of N.tmp and of N.tmp.tmp.
Case = namedtuple("Case", "record leftovers")
Found = namedtuple("Found", "severity word action")


def judge(case, mode, is_linked=False):
    """What is to be said of each entry of a record, by suffix."""
    is_there = case.record in (WHOLE, MORE)
    kinds = [kind for kind, _ in case.leftovers]
    undecided = [not is_there and kind in COMPLETE for kind in kinds]
    usable = next((i for i, kind in enumerate(kinds)
                   if undecided[i] and kind != FEW), None)
    if usable is not None:
        undecided[usable + 1:] = [False] * len(undecided[usable + 1:])
    # Nothing becomes the record while another save of it may be at work.
    is_restored = (mode == "restore" and usable is not None and not is_linked
                   and not any(is_young for _, is_young in case.leftovers))
    found = {}
    if case.record in (FEW, EMPTY):
        found[""] = Found("error", "record-unusable", MOVE if is_restored else STAY)
    elif case.record == MORE:
        found[""] = Found("warning", "record-doubtful", STAY)
    elif case.record in (DIRECTORY, LINK):
        found[""] = Found("warning", "odd-entry", MOVE if is_restored else STAY)
    for i, (kind, is_young) in enumerate(case.leftovers):
        severity = "warning" if is_there and kind not in ODD else "error"
        word = ("save-blocked" if kind in ODD else
                "save-cut" if kind not in COMPLETE else
                "save-unconfirmed" if is_there else "save-interrupted")
        action = MOVE
        if mode == "check" or is_young or is_linked:
            action = STAY
        elif is_restored and i == usable:
            action = RESTORE
        elif undecided[i] and mode != "discard" and not is_restored:
            action = STAY
        if kind != ABSENT:
            found[".tmp" * (i + 1)] = Found(severity, word, action)
    return found


def has_rest(found):
    return any(what.action == STAY for what in found.values())


def after(case, found):
    """The same record when that is done."""
    gone = {suffix for suffix, what in found.items() if what.action != STAY}
    restored = [case.leftovers[suffix.count(".") - 1][0]
                for suffix, what in found.items() if what.action == RESTORE]
    return Case((restored or [case.record])[0],
                tuple((ABSENT, False) if ".tmp" * (i + 1) in gone else leftover
                      for i, leftover in enumerate(case.leftovers)))


def make_entry(path, kind, is_young, number):
    if kind == ABSENT:
        return
    if kind == DIRECTORY:
        os.mkdir(path)
        write_file(path + "/below", b"below|1|")
    elif kind == LINK:
        os.symlink("/dev/null", path)
    elif kind == FIFO:
        os.mkfifo(path)
    else:
        tag = os.path.basename(path)
        write_file(path, CONTENTS[kind].format(tag, number).encode())
    if not is_young:
        old = random.choice([978307200, int(time.time()) - 61])
        os.utime(path, (old, old), follow_symlinks=False)


def read_tree(root):
    """Everything by its inode: path, kind, content."""
    tree = {}
    for path, directories, names in os.walk(root):
        for name in directories + names:
            entry = os.path.join(path, name)
            status = os.lstat(entry)
            content = read_file(entry) if stat.S_ISREG(status.st_mode) else b""
            tree[status.st_ino] = os.path.relpath(entry, root), status.st_mode, content
    return tree


def check(root, words, cases, wanted):
    """Runs it; gives what was done or is to be done, by record and suffix."""
    is_left = any(has_rest(found) for found in wanted)
    words = [KIVDB, "-r", root, "check", "hosts", "-o", "json", *words]
    out, _ = run(words, int(is_left))
    rows = [{} for _ in cases]
    for row in json.loads(out):
        number, dot, suffix = row["entry"].partition(".")
        assert dot + suffix not in rows[int(number)], row
        rows[int(number)][dot + suffix] = row
    for case, found, said in zip(cases, wanted, rows):
        seen = {suffix: (row["severity"], row["finding"])
                for suffix, row in said.items()}
        model = {suffix: what[:2] for suffix, what in found.items()}
        assert seen == model, (words, case, found, said)
    return rows


def compare_repairs(wanted, rows, is_done):
    """Gives the paths that changed by what they were."""
    moves = {}
    for number, (found, said) in enumerate(zip(wanted, rows)):
        for suffix, what in found.items():
            repair, path = said[suffix]["repair"], f"database/hosts/{number}{suffix}"
            record = f"hosts/{number}"
            if what.action == RESTORE:
                assert repair == (RESTORE if is_done else "restore as ") + record, said
                moves["kiv/" + path] = "kiv/database/" + record
            elif what.action == MOVE and is_done:
                assert re.fullmatch(rf"moved to kiv/removed/[^/]*/{path}", repair), said
                moves["kiv/" + path] = repair[len(MOVE):]
            else:
                assert repair == "move away" if what.action == MOVE else (
                    not repair.startswith(("move", "restore"))), (what, said)
    return moves


def follow(path, moves):
    directory, name = os.path.split(path)
    return moves.get(path) or os.path.join(moves.get(directory, directory), name)


def try_mode(mode, cases, is_linked=False):
    """Each run says what the model says, and the next one agrees with it."""
    with tempfile.TemporaryDirectory() as root:
        directory = make_table(root, "hosts")
        if is_linked:
            os.rename(directory, root + "/real")
            os.symlink(root + "/real", directory)
        for number, case in enumerate(cases):
            for i, entry in enumerate([(case.record, False), *case.leftovers]):
                make_entry(f"{directory}/{number}" + ".tmp" * i, *entry, number)
        before = read_tree(root)
        wanted = [judge(case, mode, is_linked) for case in cases]
        if mode != "check":
            # Only what is done makes a finding that is not left.
            dry = [{s: w._replace(action=STAY) for s, w in f.items()} for f in wanted]
            rows = check(root, MODES[mode] + ["--dry-run"], cases, dry)
            compare_repairs(wanted, rows, False)
            assert read_tree(root) == before
        rows = check(root, MODES[mode], cases, wanted)
        moves = compare_repairs(wanted, rows, True) if mode != "check" else {}
        now = read_tree(root)
        for inode, (path, *rest) in before.items():
            expected = (follow(path, moves), *rest)
            assert now.get(inode) == expected, (path, expected, now.get(inode))
        for path, kind, _ in (now[inode] for inode in now.keys() - before.keys()):
            assert path.startswith("kiv/removed") and kind == stat.S_IFDIR | 0o700, path
        cases = [after(*pair) for pair in zip(cases, wanted)]
        for again in ("check", mode):
            wanted = [judge(case, again, is_linked) for case in cases]
            rows = check(root, MODES[again], cases, wanted)
            assert read_tree(root) == now
            assert again == "check" or not compare_repairs(wanted, rows, True)


def main():
    random.seed(int(sys.argv[2]))
    some = [(kind, False) for kind in OTHERS] + [(kind, True) for kind in OTHERS[1:]]
    first = some + [(kind, False) for kind in LEFTOVERS if kind not in OTHERS]
    pairs = [*itertools.product(first, some), *itertools.product(some[:1], first[7:])]
    cases = [Case(*case) for case in itertools.product(RECORDS, pairs)]
    random.shuffle(cases)
    jobs = []
    for mode in MODES:
        for is_left in (False, True):
            jobs.append((mode, [case for case in cases
                                if is_left == has_rest(judge(case, mode))]))
        jobs.append((mode, random.sample(cases, 100), True))
    with ThreadPoolExecutor(len(jobs)) as pool:
        list(pool.map(lambda job: try_mode(*job), jobs))
    print(f"{len(cases)} states, {len(MODES)} modes")


main()
