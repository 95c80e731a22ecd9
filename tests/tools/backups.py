#!/usr/bin/env python3
"""Backups and what restoring makes of them: backups.py KIVDB RUNS"""
import io
import multiprocessing
import os
import pty
import signal
import stat
import subprocess
import sys
import tarfile
import tempfile
import threading
import time

from common import (call, entries, locked, make_table, need, read_file, run, run_each,
                    save, tree_of, wait_until, write_file)

KIVDB, RUNS = os.path.abspath(sys.argv[1]), int(sys.argv[2])
ODD = [b"\xc3\xa9", b"e\xcc\x81", b"\xff", b"a\nb", b"back\\slash", b"n" * 200, b"7.tmp"]
# Opens its files with a limit of 8 KiB on their sizes.
SMALL = ["sh", "-c", 'trap "" XFSZ; ulimit -f 16; exec "$@"', "sh"]


def tree(root):
    """What is below kiv by path: type and mode, the time of a file, its content."""
    found = {}
    for entry in entries(root + "/kiv"):
        status = os.lstat(entry)
        is_file = stat.S_ISREG(status.st_mode)
        kept = (int(status.st_mtime), read_file(entry)) if is_file else None
        found[os.path.relpath(entry, root)] = status.st_mode, kept
    return found


def make_database(root):
    directory = os.fsencode(make_table(root, "hosts", {1: b"a|80|", 2: b"b|443|"}))
    for i, name in enumerate(ODD):
        write_file(directory + b"/" + name, bytes([i, 0, 255]) * 1000 * i)
        os.chmod(directory + b"/" + name, (0o600, 0o755, 0o444)[i % 3])
    make_table(root, "empty")
    os.makedirs(root + "/kiv/more/deep")
    os.chmod(root + "/kiv/more", 0o551)
    write_file(root + "/kiv/base.ini", b"[f]\n")
    os.chmod(root + "/kiv", 0o700)
    os.utime(directory + b"/1", (10 ** 9, 10 ** 9))


def round_trip(scratch):
    old, file, gnu = (scratch + "/" + name for name in ("old", "file.tar", "gnu.tar"))
    make_database(old)
    before, times = tree(old), tree_of(old, True)
    write_file(file, b"older")
    run([KIVDB, "-r", old, "backup", file])
    assert tree_of(old, True) == times
    assert stat.S_IMODE(os.stat(file).st_mode) == 0o600
    assert run([KIVDB, "-r", old, "backup", "-"])[0] == read_file(file)
    os.makedirs(scratch + "/untarred")
    run(["tar", "-C", scratch + "/untarred", "-xpf", file])
    assert tree(scratch + "/untarred") == before
    # tar's own, with what is no part of a backup.
    os.makedirs(old + "/kiv/removed/x")
    os.mkfifo(old + "/kiv/removed/x/fifo")
    run(["tar", "-C", old, "-cf", gnu, "."])
    for name, kiv in (file, None), (gnu, None), ("-", "removed/y"), (file, "more"):
        new = tempfile.mkdtemp(dir=scratch)
        if kiv:
            os.makedirs(f"{new}/kiv/{kiv}")
            os.chmod(new + "/kiv", 0o700)
        with open(file, "rb") as stdin:
            words, status = [KIVDB, "-r", new, "restore", name], int(kiv == "more")
            notes = run(words, status, stdin=stdin)[1]
        assert (b"kiv/removed: left out" in notes) == (name == gnu), notes
        after = {path: x for path, x in tree(new).items() if "/removed" not in path}
        assert after == before if not status else [*after] == ["kiv", "kiv/more"], after
        assert b"already" in run(words, 1)[1] and not run([*words, "-q"], 1)[1]


def refused(scratch, archive, reason=b"", status=2):
    """Nothing is made, neither there nor elsewhere."""
    new, before = scratch + "/none/new", os.listdir(scratch)
    errors = run([KIVDB, "-r", new, "restore", "-"], status, input=archive)[1]
    assert reason in errors and errors.count(b"\n") == 1, (reason, errors)
    assert os.listdir(scratch) == before, (reason, os.listdir(scratch))


def cuts(scratch):
    make_database(scratch)
    whole = run([KIVDB, "-r", scratch, "backup", "-"])[0]
    for size in {*range(0, len(whole), 512), *range(1, len(whole), 511), len(whole) - 1}:
        refused(scratch, whole[:size], b"tar archive")
    refused(scratch, whole + b"x", b"more behind")
    new = scratch + "/p"
    padded = run([KIVDB, "-r", new, "restore", "-"], input=whole + bytes(5000))
    assert padded == (b"", b"") and tree(new) == tree(scratch), padded


# The name, type, size, and what is said of it.
HOSTILE = [
    *(("kiv/x", kind, 0, b"kiv/x: a ") for kind in
      (tarfile.SYMTYPE, tarfile.LNKTYPE, tarfile.CHRTYPE, tarfile.BLKTYPE, tarfile.FIFOTYPE)),
    *((name, tarfile.REGTYPE, 0, b"no name below kiv") for name in
      ("../x", "/x", "/kiv/x", "kiv/../x", "kiv/./x", "kiv//x", "kivx/x", "x", "kiv/..", "./x")),
    *((name, kind, 0, b"is there twice") for name, kind in
      (("kiv/schema/t", tarfile.REGTYPE), ("./kiv/schema/t", tarfile.REGTYPE),
       ("kiv/schema/t", tarfile.DIRTYPE), ("kiv/schema", tarfile.DIRTYPE))),
    ("kiv/schema/t/x", tarfile.REGTYPE, 0, b"kiv/schema/t"),
    ("kiv/" + "n" * 300, tarfile.REGTYPE, 0, b"File name too long"),
    *(("kiv/x", tarfile.REGTYPE, size, b"no whole tar") for size in (1 << 62, 1 << 30, -1))]


def hostile(scratch):
    for name, kind, size, reason in [*HOSTILE, (None, None, 0, b"no database in")]:
        archive = io.BytesIO()
        with tarfile.open(fileobj=archive, mode="w", format=tarfile.GNU_FORMAT) as tar:
            for path in "kiv", "kiv/schema" if name else "kiv/database":
                info = tarfile.TarInfo(path)
                info.type = tarfile.DIRTYPE
                tar.addfile(info)
            if name:
                tar.addfile(tarfile.TarInfo("kiv/schema/t"))
                info = tarfile.TarInfo(name)
                info.type, info.size, info.linkname = kind, size, "kiv/schema/t"
                tar.addfile(info)
        refused(scratch, archive.getvalue(), reason)
    make_table(scratch, "t")
    with open(scratch + "/kiv/sparse", "wb") as file:
        file.truncate(1 << 30)
    refused(scratch, run(["tar", "-SC", scratch, "-cf", "-", "kiv"])[0], b"a sparse file")


def kept(scratch):
    """A backup that fails leaves the older one, and nothing beside it."""
    file = scratch + "/file.tar"
    hosts = make_table(scratch, "hosts", {1: bytes(50000)})
    run([KIVDB, "backup", file], cwd=scratch)
    whole = read_file(file)
    before = sorted(os.listdir(scratch))

    def is_kept():
        return read_file(file) == whole and sorted(os.listdir(scratch)) == before
    errors = run([*SMALL, KIVDB, "backup", file], 2, cwd=scratch)[1]
    assert b"File too large" in errors and is_kept(), errors
    errors = run([*SMALL, KIVDB, "-r", "none", "restore", file], 2, cwd=scratch)[1]
    assert b"hosts/1: cannot write: File too large" in errors and is_kept(), errors
    for words in ["backup", "kiv"], ["backup", "kiv/schema/x"], ["backup", "/dev/null"]:
        run([KIVDB, *words], 2, cwd=scratch)
    assert is_kept()
    with locked(hosts):
        errors = run([KIVDB, "backup", file, "--wait", "0"], 2, cwd=scratch)[1]
        assert b"hosts: cannot lock" in errors and is_kept(), errors
        waiting = subprocess.Popen([KIVDB, "backup", file, "--wait", "99"], cwd=scratch)
        wait_until(lambda: len(os.listdir(scratch)) > len(before))
        waiting.send_signal(signal.SIGTERM)
        assert waiting.wait(50) == -signal.SIGTERM and is_kept()
    need("/dev/pts/ptmx")
    for words in ["backup", "-"], ["-r", "none", "restore", "-"]:
        master, slave = pty.openpty()
        errors = run([KIVDB, *words], 2, cwd=scratch, stdin=slave, stdout=slave)[1]
        assert b"is a terminal" in errors and is_kept(), errors
        os.close(slave)
        os.close(master)
    os.symlink("1", hosts + "/link")
    os.mkfifo(hosts + "/fifo")
    lines = run([KIVDB, "backup", file], 1, cwd=scratch)[1].splitlines()
    assert len(lines) == 2 and sorted(os.listdir(scratch)) == before, lines
    whole = read_file(file)
    os.makedirs(scratch + "/kiv/migrate/hosts")
    errors = run([KIVDB, "backup", file], 2, cwd=scratch)[1]
    assert b"hosts: an unfinished migration" in errors and is_kept(), errors


def change_pairs(directory):
    """Both records always hold the same number, for whoever takes the lock."""
    for number in range(1 << 30):
        with locked(directory):
            for name in "1", "2":
                save(directory, name, b"n|%d|" % number)
        time.sleep(0.001)


def change_tables(root, end):
    """A table comes and goes."""
    while not end.is_set():
        for words in (["add-table", "t", "id:int,x:int"], ["add", "t", "x=1"],
                      ["drop-table", "t", "--force"]):
            run([KIVDB, "-r", root, "--wait", "40", *words])


def load(scratch):
    pairs = make_table(scratch, "pairs", {1: b"n|0|", 2: b"n|0|"})
    make_table(scratch, "hosts", {i: b"a|%d|" % i for i in range(100)})
    writer = multiprocessing.Process(target=change_pairs, args=(pairs,), daemon=True)
    writer.start()
    end, seen = threading.Event(), set()
    tables = threading.Thread(target=change_tables, args=(scratch, end))
    tables.start()
    try:
        for i in range(RUNS):
            file, new = scratch + "/file.tar", f"{scratch}/{i}"
            run([KIVDB, "-r", scratch, "backup", file, "--wait", "40"])
            run([KIVDB, "-r", new, "restore", file])
            assert call([KIVDB, "-r", new, "check"]) == (0, b"", b""), new
            records = [read_file(f"{new}/kiv/database/pairs/{name}") for name in "12"]
            assert records[0] == records[1], records
            assert len(os.listdir(new + "/kiv/database/hosts")) == 100
            seen.add(records[0])
    finally:
        end.set()
        tables.join()
        writer.terminate()
        writer.join()
    assert len(seen) > 1, seen


def main():
    run_each(round_trip, cuts, hostile, kept, load)


main()
