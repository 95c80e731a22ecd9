#!/usr/bin/env python3
"""Kills upgrades and migrations before each call: upgrade_kills.py KIVDB PRELOAD

PRELOAD is the library of stop_at.cc.  The owner's records must be whole, and the next
run must end as if nothing had happened.  So must it on a disk that was full, and what
is named must be on that disk before the next name changes.
"""
import itertools
import os
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from common import (call, ini, kill_everywhere, read_end, read_file, read_table, run,
                    run_to_call, write_file)

KIVDB, PRELOAD = map(os.path.abspath, sys.argv[1:])
os.environ["LD_PRELOAD"] = PRELOAD
OLD = "t a b: 1,x,1; 2,x,1; 3,x,1; 4,x,1; 5,x,1\nv a: 1,x; 2,x; 3,x"
NEW = ("t a b c: 1,x,2,7; 2,x,2,8; 3,x,1,9; 4,x,1,7; 6,{{$kivhost}},5,7\n"
       "u a: 7,{{$kivhost}}; 8,k\nv a: 1,z; 2,z; 4,{{$kivid}}")
OWNER = "rm t/4; printf 'x|0|' >t/2; printf 'o|0|' >t/9; printf o >v/2"
PLACE = ["--id=3", "--host=h"]
UPGRADE = ["upgrade", "new.ini", "--prune", *PLACE]
MIGRATIONS = [["migrate", "t", "id:int," + words, "--force"] for words in [
    "a:varchar,b:varchar,n:int", "b:varchar", "b:varchar,a:varchar",
    "a>n:varchar,b:varchar", "a:varchar,b>n:int"]]


def prepare(root):
    write_file(root + "/old.ini", ini(OLD))
    write_file(root + "/new.ini", ini(NEW))
    run([KIVDB, "create", "old.ini", *PLACE], cwd=root)
    run(["sh", "-ec", "chmod 600 t/3 ../schema/t; " + OWNER], cwd=root + "/kiv/database")


def words_for(root, words):
    needs_base = words[0] == "upgrade" and not os.path.exists(root + "/kiv/base.ini")
    return [KIVDB, *words, *["--base=old.ini"] * needs_base]


def finish(root, words):
    done = call(words_for(root, words), cwd=root)
    assert done[0] < 2 or b": no column to rename: " in done[2], done


def read_tables(root):
    """(schema line, records or None) by name"""
    tables = {}
    for name in os.listdir(root + "/kiv/schema"):
        path = root + "/kiv/database/" + name
        tables[name] = (read_file(f"{root}/kiv/schema/{name}").split(b"\n")[0],
                        read_table(path) if os.path.isdir(path) else None)
    return tables


def read_whole(root):
    return {path: (text, os.stat(f"{root}/{path}").st_mode)
            for path, text in read_end(root).items()
            if path not in ("kiv/migrate", "kiv/migrate/stage")}


def verify_tables(root, before, after):
    """Each is the old one, or the new one with what was not yet merged."""
    now = read_tables(root)
    for name, (line, records) in before.items():
        new_line, new_records = after[name]
        now_line, now_records = now[name]
        assert now_line in (line, new_line), (name, now_line)
        if now_records is None:
            now_line, now_records = line, read_table(f"{root}/kiv/migrate/{name}/old")
        added = new_line.count(b"|") - line.count(b"|")
        for i in {*records, *new_records, *now_records}:
            old, new = records.get(i), new_records.get(i)
            allowed = [new, old + b"|" * added if old else old] if added >= 0 else [new]
            if now_line != new_line:
                allowed = [old]
            elif line != new_line and added == 0:
                allowed = [new]
            assert now_records.get(i) in allowed, (name, i, now_records, allowed)


def run_kills(words, finishers, may_be_old):
    with tempfile.TemporaryDirectory() as start, tempfile.TemporaryDirectory() as end:
        prepare(start)
        if words[0] == "upgrade":
            os.unlink(start + "/kiv/base.ini")
        shutil.copytree(start, end, dirs_exist_ok=True)
        finish(end, words)
        before, after = read_tables(start), read_tables(end)
        ends = [read_whole(end)] + [read_whole(start)] * may_be_old

        def verify(root, number):
            if number is None:
                assert read_whole(root) == ends[0]
                return
            verify_tables(root, before, after)
            for steps in finishers:
                with tempfile.TemporaryDirectory() as copy:
                    shutil.copytree(root, copy, dirs_exist_ok=True)
                    for step in steps:
                        if step == "kill":
                            at = number * 37 % 60 + 1
                            run_to_call(words_for(copy, words), PRELOAD, at, copy)
                            verify_tables(copy, before, after)
                        else:
                            finish(copy, step)
                    run([KIVDB, "check"], cwd=copy)
                    left = read_whole(copy)
                    assert left in (ends if steps[-1] != words else ends[:1]), (steps, left)

        return kill_everywhere(PRELOAD, lambda root: shutil.copytree(
            start, root, dirs_exist_ok=True), words_for(start, words), verify)


def check_order(words):
    """What a call changed is forced to disk before the next rename, and at the end."""
    with tempfile.TemporaryDirectory() as root:
        prepare(root)
        status, _, errors = run_to_call(words_for(root, words), PRELOAD, 0, root)
        assert status < 2, errors
        top, dirt, made = os.path.realpath(root) + "/", set(), set()

        def below(path):
            return os.path.normpath(os.path.join(top, path)).removeprefix(top)

        for line in errors.decode().splitlines():
            if line.count("\t") != 3 or "\tpipe:" in line:
                continue
            call_name, path, to = line.split("\t")[1:]
            path, to = below(path), below(to)
            parent = os.path.dirname(path)
            if call_name == "fsync":
                dirt.discard(path)
            elif call_name == "rename":
                # What is taken away again need not have been there.
                allowed = {parent} if os.path.basename(path) == "stage" or "/u/" in path else set()
                assert dirt <= allowed, (words, line, dirt)
                dirt |= {parent, os.path.dirname(to)}
            elif call_name == "mkdir":
                dirt |= {parent} if path not in made else set()  # it is there already
                made.add(path)
            elif call_name in ("open", "write"):
                dirt |= {path, parent} if call_name == "open" else {path}
            elif parent in ("kiv", "kiv/database/t", "kiv/database/v"):
                dirt.add(parent)  # without the entry
                made.discard(path)
        assert not dirt, (words, dirt)


def check_full(words):
    """Ever more room for files or for bytes, until it is enough."""
    with tempfile.TemporaryDirectory() as root:
        os.makedirs(root + "/start")
        os.makedirs(root + "/disk")
        prepare(root + "/start")
        count = int(run(["find", root + "/start", "-type", "f"])[0].count(b"\n"))
        shutil.copytree(root + "/start", root + "/end")
        finish(root + "/end", words)
        for size in "nr_inodes=%d", "size=%dk":
            for room in itertools.count(1):
                amount = size % (count + 6 + room if size[0] == "n" else 4 * (count + room - 1))
                if call(["mount", "-t", "tmpfs", "-o", amount, "tmpfs", root + "/disk"])[0]:
                    return print("no disk can be mounted")
                try:
                    shutil.copytree(root + "/start", root + "/disk", dirs_exist_ok=True)
                    done = call(words_for(root + "/disk", words), cwd=root + "/disk")
                    if done[0] < 2:
                        break
                    assert done[0] == 2 and b"No space left" in done[2], done
                    run(["mount", "-o", "remount,size=1m,nr_inodes=500", root + "/disk"])
                    finish(root + "/disk", words)
                    assert read_whole(root + "/disk") == read_whole(root + "/end"), (amount, done)
                finally:
                    run(["umount", root + "/disk"])
            print(words, room)


def main():
    repair = ["check", "-q", "--repair"]
    same = ["upgrade", "old.ini", *PLACE]
    jobs = [(UPGRADE, [[UPGRADE], ["kill", UPGRADE], [repair, UPGRADE]], False)]
    jobs += [(words, [[words], [same], [repair]], True) for words in MIGRATIONS]
    for words in [UPGRADE, *MIGRATIONS]:
        check_order(words)
        check_full(words)
    with ThreadPoolExecutor(len(jobs)) as pool:
        runs = [pool.submit(run_kills, *job) for job in jobs]
        print([done.result() for done in runs], "calls")


main()
