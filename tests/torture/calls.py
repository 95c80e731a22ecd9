#!/usr/bin/env python3
"""Kills before every call of the system, fails every one, and every allocation:

    calls.py KIVDB HAND PRELOAD [--seconds N] [--seed S]

PRELOAD sets the variable that loads the library of stop_at.cc.  What was saved must be
there, what is done must be complete, and the next run must end as if nothing had
happened.  Where the time is too short for all, it is a sample of every command.
"""
import argparse
import itertools
import os
import random
import re
import shlex
import shutil
import signal
import sys
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from contextlib import ExitStack, contextmanager, suppress
from tempfile import NamedTemporaryFile, TemporaryDirectory

PARSER = argparse.ArgumentParser()
for argument in ("kivdb", "hand", "preload"):
    PARSER.add_argument(argument)
PARSER.add_argument("--seconds", type=float, default=60)
PARSER.add_argument("--seed", type=int, default=1)
OPTIONS = PARSER.parse_args()
sys.argv[1:] = [OPTIONS.kivdb, OPTIONS.preload]  # which the modules below take
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) + "/../tools")
import kills  # noqa: E402
import upgrade_kills  # noqa: E402
from common import call, make_table, read_end, run_to_call, write_file  # noqa: E402

HAND = [os.path.abspath(OPTIONS.hand), "."]
ERRORS = ["EIO", "ENOSPC", "EACCES", "EMFILE", "EINTR", "EDQUOT"]
# What a broken disk fails from there on, on any machine.
FILE_CALLS = ("open openat read pread64 write pwrite64 fsync rename renameat renameat2 "
              "unlink unlinkat mkdir mkdirat rmdir getdents64 flock newfstatat fstat "
              "stat lstat statx access faccessat faccessat2 ftruncate fchmod fchown "
              "linkat symlinkat readlink lseek utimensat").split()
# They do not come back, or the C library relies on it that they never fail.
NEVER_FAIL = {"brk", "exit_group", "futex", "rt_sigreturn"}
RECORDS, NEW, ALL_GONE = kills.RECORDS, kills.NEW, kills.ALL_GONE
OPEN, CHANGING = {0, 3, 4, 5, 18}, {0, 1, 3, 4, 7, 11, 13, 14, 16, 18, 20}
# Words, what a record may be then if it is not as before, the documented results
# besides those of opening a table.
OPERATIONS = [
    (["add", "hosts", "new,9"], {"4": [None, NEW]}, {20}),
    (["put", "hosts", "7,new,9"], {"7": [None, NEW]}, {20}),
    (["update", "hosts", "2", "port=9"], {"2": [RECORDS["2"], b"beta|9|"]}, {7, 8, 20}),
    (["delete", "hosts", "2"], {"2": [RECORDS["2"], None]}, {20}),
    (["recover", "hosts"], {"x.ADD": [b"", None]}, {7, 20}),
    (["clear", "hosts"], ALL_GONE, {17, 20}),
    (["add_table", "t", "id(int),x(int)"], {}, {20}),
    (["check_add_table", "a", "new.ini"], {}, {12, 20}),
    (["create", "new.ini"], {}, {12, 20}),
    (["drop_table", "t"], {}, {7, 14, 20}),
    (["drop"], ALL_GONE, {14, 17, 20})]
# Documented not to tell: what cannot be removed, a table that is cut or without its
# directory, a creation file that ends early, records that cannot be read.
FORGIVING = {"delete", "recover", "clear", "add_table", "check_add_table", "create"}
FINISHED = upgrade_kills.MIGRATIONS[0]
AWAY = upgrade_kills.check_order(FINISHED)


class Case:
    """What runs, and what is right then.  forgives: a failure need not be told."""

    def __init__(self, case, statuses, forgives):
        self.prepare, self.words, self.verify = case
        self.statuses, self.forgives = statuses, forgives
        self.name = " ".join(self.words[1:])
        with self.root() as root, suppress(AssertionError, OSError):
            self.verify(root, None)
            raise RuntimeError(self.name + ": nothing was done, and nothing is missed")
        self.measure()

    @contextmanager
    def root(self):
        """Prepared, with creation files that are old enough to be kept in memory."""
        with TemporaryDirectory() as root:
            self.prepare(root)
            time.sleep(0.02)
            yield root

    def measure(self):
        """Of a whole run: its status, the number of its allocations, and the calls
        behind those of the dynamic linker, each with how often which was made."""
        with self.root() as root, NamedTemporaryFile("r") as trace:
            self.status = call(["strace", "-qq", "-o", trace.name, *self.words],
                               cwd=root)[0]
            names = re.findall(r"^(\w+)\(", trace.read(), re.MULTILINE)
        seen, self.calls = Counter(), []
        for name in names:
            seen[name] += 1
            self.calls.append((name, dict(seen)))
            if name == "mprotect":
                self.calls.clear()
        with self.root() as root:
            counted = call([*without_memory(0), *self.words], cwd=root)[2]
            self.allocations = int(re.search(rb"\d+$", counted).group())

    def run(self, how, number):
        """Gives what is wrong, if anything."""
        with self.root() as root:
            done = call(["timeout", "40", *how, *self.words], cwd=root)
            try:
                self.judge(root, done, " ".join(how), number)
            except Exception as error:  # whatever goes wrong is a fault
                return f"{done}: {type(error).__name__}: {error}"
        return None

    def judge(self, root, done, how, number):
        status, _, reason = done
        # Without memory the archive library may end the program.
        is_archive = "FAIL_AT" in how and self.words[1] in ("backup", "restore")
        if "=SIGKILL" in how:
            assert status == -signal.SIGKILL, "not killed"
        elif not is_archive or status not in (-signal.SIGSEGV, -signal.SIGABRT):
            assert status in self.statuses, "no documented status"
            is_said = reason or "write:" in how or self.words[0] != kills.KIVDB
            assert status != 2 or is_said, "no reason"
            assert status or not self.status, "findings are missing"
        is_done = status == self.status and not self.forgives
        self.verify(root, None if is_done else number)


def without_memory(number, further=""):
    return ["env", *map("=".join, kills.PRELOAD.items()),
            f"KIVDB_FAIL_AT={number}{further}"]


def traced(names, *injections):
    return ["strace", "-qq", "-o", "/dev/null", "-e", "trace=" + names,
            *(word for i in injections for word in ("-e", "inject=" + i))]


def kill_points(case):
    return [traced(name, f"{name}:signal=SIGKILL:when={seen[name]}")
            for name, seen in case.calls]


def error_points(case):
    for (name, seen), error in itertools.product(case.calls, ERRORS):
        if name not in NEVER_FAIL:
            yield traced(name, f"{name}:error={error}:when={seen[name]}")
        # What is interrupted for ever may be tried for ever.
        if name in FILE_CALLS and error != "EINTR":
            yield traced(",".join("?" + n for n in FILE_CALLS),
                         *(f"?{n}:error={error}:when={seen.get(n, 0) + (n != name)}+"
                           for n in FILE_CALLS))


def memory_points(case):
    return [without_memory(number, further) for further in ("", "+")
            for number in range(1, case.allocations + 1)]


def operation(words, outcomes):
    """Of the library.  Repaired and run again it ends as if it had run once."""
    def prepare(root):
        write_file(root + "/new.ini", kills.CREATION)
        if words[0] == "create":
            return
        kills.prepare_hosts(root)
        if words[0] == "recover":
            write_file(root + "/kiv/database/hosts/x.ADD", b"")
        if words[0] == "drop_table":
            make_table(root, "t")

    def read(root):
        """Not what is behind the last column, nor what is left without schemas."""
        tree = read_end(root) if os.path.isdir(root + "/kiv/schema") else {}
        return {path: text.split(b"\n")[0].rpartition(b"]")[0]
                if text and "/schema/" in path else text for path, text in tree.items()}

    again = [*HAND, *words]
    return kills.changing(prepare, again, outcomes, [kills.REPAIR, again], read)


def prepare_away(start, root):
    """Killed behind the first rename of a migration: the table is away."""
    upgrade_kills.copy(start, root)
    run_to_call(upgrade_kills.complete(root, FINISHED), kills.PRELOAD, AWAY, root)
    assert not os.path.exists(root + "/kiv/database/t"), AWAY


def library_cases(enter):
    for words, outcomes, statuses in OPERATIONS:
        yield Case(operation(words, outcomes), OPEN | statuses, words[0] in FORGIVING)
    for job in upgrade_kills.JOBS:
        is_upgrade = job[0] is upgrade_kills.UPGRADE
        told = ["upgrade", "new.ini", "old.ini"] if is_upgrade else job[0][:3]
        yield Case(enter(upgrade_kills.killed(*job, program=[*HAND, *told])),
                   CHANGING | {10, 12, 19}, is_upgrade)
    yield Case(enter(upgrade_kills.killed(FINISHED, [FINISHED], prepared=prepare_away,
                                          program=[*HAND, "finish"])), CHANGING, False)


def tool_cases(enter):
    for case in [*kills.cases(), *(enter(upgrade_kills.killed(*job))
                                   for job in upgrade_kills.JOBS)]:
        yield Case(case, {0, 1, 2}, case[1][1] == "check")


def run_row(what, cases, points, until):
    """Every case in turn; at least one point of each."""
    turns = []
    for case in cases:
        turns.append([(case, how) for how in points(case)])
        random.Random(f"{OPTIONS.seed} {case.name}").shuffle(turns[-1])
    todo = [p for turn in itertools.zip_longest(*turns) for p in turn if p]

    def attempt(number):
        if number >= len(cases) and time.monotonic() > until:
            return None
        case, how = todo[number]
        fault = case.run(how, number)
        if fault:
            print(f"{what}, seed {OPTIONS.seed}: {shlex.join([*how, *case.words])}\n"
                  f"    {fault}", file=sys.stderr, flush=True)
        return bool(fault)

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        tried = [f for f in pool.map(attempt, range(len(todo))) if f is not None]
    note = f"a sample of {len(todo)}" if len(tried) < len(todo) else ""
    print(what, len(tried), sum(tried), note, sep="\t", flush=True)
    return sum(tried)


def main():
    rows = [("kills, library", kill_points), ("kills, tool", kill_points),
            ("errors, library", error_points), ("errors, tool", error_points),
            ("memory, tool", memory_points)]
    if not shutil.which("strace"):
        for what, _ in rows:
            print(what, 0, 0, "left out without strace", sep="\t")
        return
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with ExitStack() as stack:
        cases = {"library": [*library_cases(stack.enter_context)],
                 "tool": [*tool_cases(stack.enter_context)]}
        begin = time.monotonic()
        faults = [run_row(what, cases[what.split()[1]], points,
                          begin + OPTIONS.seconds * (i + 1) / len(rows))
                  for i, (what, points) in enumerate(rows)]
    sys.exit(any(faults))


main()
