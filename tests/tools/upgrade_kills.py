#!/usr/bin/env python3
"""Kills upgrades and migrations before each call: upgrade_kills.py KIVDB PRELOAD

PRELOAD sets the variable that loads the library of stop_at.cc.  What the owner has
must be whole, and the next run must end as if nothing had happened.
"""
import os
import shutil
import sys
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from tempfile import TemporaryDirectory

from common import (call, ini, kill_everywhere, need, read_end, read_file,
                    read_table, run, run_each, run_to_call, write_file)

KIVDB, PRELOAD = os.path.abspath(sys.argv[1]), dict([sys.argv[2].split("=", 1)])
OLD = "t a b: 1,x,1; 2,x,1; 3,x,1; 4,x,1; 5,x,1\nv a: 1,x; 2,x; 3,x"
NEW = ("t a b c: 1,x,2,7; 2,x,2,8; 3,x,1,9; 4,x,1,7; 6,{{$kivhost}},5,7\n"
       "u a: 7,{{$kivhost}}; 8,k\nv a: 1,z; 2,z; 4,{{$kivid}}")
OWNER = ("rm t/4; printf 'x|0|' >t/2; printf 'o|0|' >t/9; printf o >v/2; "
         "chmod 600 t/3 ../schema/t")
PLACE = ["--id=1", "--host=h"]
UPGRADE = ["upgrade", "new.ini", "--prune", *PLACE]
MIGRATIONS = [["migrate", "t", "id:int," + columns, "--force"] for columns in [
    "a:varchar,b:varchar,n:int", "b:varchar", "b:varchar,a:varchar",
    "a>n:varchar,b:varchar", "a:varchar,b>n:int"]]
REPAIR, UNCHANGED = ["check", "-q", "--repair"], ["upgrade", "old.ini", *PLACE]
# What is killed, and the ways to finish it.
JOBS = [*((words, [words], [UNCHANGED], [REPAIR]) for words in MIGRATIONS),
        (UPGRADE, [UPGRADE], ["kill", UPGRADE], [REPAIR, UPGRADE])]


def copy(root, to):
    shutil.copytree(root, to, dirs_exist_ok=True)


def prepare(root, words):
    os.mkdir(root)
    write_file(root + "/old.ini", ini(OLD))
    write_file(root + "/new.ini", ini(NEW))
    run([KIVDB, "create", "old.ini", *PLACE], cwd=root)
    run(["sh", "-ec", OWNER], cwd=root + "/kiv/database")
    if words is UPGRADE:
        os.unlink(root + "/kiv/base.ini")


def complete(root, words):
    needs_base = words[0] == "upgrade" and not os.path.exists(root + "/kiv/base.ini")
    return [KIVDB, *words, *["--base=old.ini"] * needs_base]


def finish(root, words):
    done = call(complete(root, words), cwd=root)
    assert done[0] < 2 or b": no column to rename: " in done[2], done  # it has its name


def read_whole(root):
    """With the modes; what is staged only is nothing."""
    return {path: (text, os.stat(f"{root}/{path}").st_mode)
            for path, text in read_end(root).items()
            if path not in ("kiv/migrate", "kiv/migrate/stage")}


def read_tables(root):
    """(schema line, records) by name; the records of a table that is away are None."""
    data = root + "/kiv/database/"
    return {name: (read_file(f"{root}/kiv/schema/{name}").split(b"\n")[0],
                   read_table(data + name) if os.path.isdir(data + name) else None)
            for name in os.listdir(root + "/kiv/schema")}


def verify_tables(root, start, end):
    """Each has all records under the columns that it has, the old ones or the new."""
    now, new = read_tables(root), read_tables(end)
    for name, (line, records) in read_tables(start).items():
        new_line, new_records = new[name]
        now_line, now_records = now[name]
        if now_records is None:
            now_line, now_records = line, read_table(f"{root}/kiv/migrate/{name}/old")
        assert now_line in (line, new_line), (name, now_line)
        added = new_line.count(b"|") - line.count(b"|")
        for i in {*records, *new_records, *now_records}:
            texts = {new_records.get(i)} if now_line == new_line else set()
            if now_line == line:
                texts.add(records.get(i))
            elif added > 0:  # before the record was merged
                texts.add(records[i] + b"|" * added if i in records else None)
            assert now_records.get(i) in texts, (name, i, now_records, texts)


@contextmanager
def killed(words, *finishers, prepared=copy, program=None):
    """What prepares a root, what is run (program, or the words), what verifies it."""
    with TemporaryDirectory() as work:
        start, end = work + "/start", work + "/end"
        prepare(start, words)
        copy(start, end)
        finish(end, words)
        whole, before = read_whole(end), read_whole(start)

        def verify(root, number):
            if number is None:
                assert read_whole(root) == whole
                return
            verify_tables(root, start, end)
            for steps in finishers:
                with TemporaryDirectory() as other:
                    copy(root, other)
                    for step in steps:
                        if step == "kill":
                            run_to_call(complete(other, words), PRELOAD,
                                        number * 37 % 60 + 1, other)
                            verify_tables(other, start, end)
                        else:
                            finish(other, step)
                    run([KIVDB, "check"], cwd=other)
                    left = read_whole(other)
                    is_old = steps[-1] is not words and left == before
                    assert is_old or left == whole, (steps, left)

        yield (lambda root: prepared(start, root), program or complete(start, words),
               verify)


def run_kills(job):
    with killed(*job) as case:
        return kill_everywhere(PRELOAD, *case)


def check_order(words, number=-1, dirt=()):
    """Whatever a run changes is forced to disk before the next rename, and at the end.

    A run that is killed before a call leaves dirt to the next one, which is looked at.
    Gives the number of the call behind the first rename of a directory.
    """
    with TemporaryDirectory() as root:
        prepare(root + "/db", words)
        top, dirt, made, first = os.path.realpath(root) + "/db/", {*dirt}, set(), None
        if dirt:
            run_to_call(complete(top, words), PRELOAD, number, top)
        errors = run_to_call(complete(top, words), PRELOAD, 0, top)[2].decode()
        for line in errors.splitlines():
            number, change, path, to = (line + "\t" * 3).split("\t")[:4]
            path, to = (os.path.normpath(top + p.removeprefix(top)).removeprefix(top)
                        for p in (path, to))
            parent = os.path.dirname(path)
            if not path.startswith("kiv"):
                continue
            if change == "fsync":
                dirt.discard(path)
            elif change == "rename":
                # Nothing is lost where these names were not there.
                allowed = {parent} if "/stage" in path or "/u/" in path else set()
                assert dirt <= allowed, (words, line, dirt)
                dirt |= {parent, os.path.dirname(to)}
                first = int(number) + 1 if to.endswith("/old") else first
            elif change in ("open", "write"):
                dirt |= {path, parent} if change == "open" else {path}
            elif change == "mkdir":
                dirt |= {parent} if path not in made else set()
                made.add(path)
            elif parent in ("kiv", "kiv/database/t", "kiv/database/v"):
                dirt.add(parent)  # of what was deleted
                made.discard(path)
        assert not dirt and errors.count("fsync") > 2, (words, dirt)
        return first


def order(_):
    need("/proc/self/fd")
    for words in [UPGRADE, *MIGRATIONS]:
        first = check_order(words)
        if first:
            check_order(words, first, ["kiv/migrate/t", "kiv/database"])


def kills(_):
    os.environ.update(PRELOAD)  # which leaves out what takes time
    with ThreadPoolExecutor(len(JOBS)) as pool:
        print(f"{sum(pool.map(run_kills, JOBS))} calls")


if __name__ == "__main__":
    run_each(order, kills)
