"""What the tests of the tool have in common."""
import contextlib
import fcntl
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

SCHEMA = b"id[int]|name[varchar]|port[int]\n"


class Unable(Exception):
    """What a test needs is not on this machine."""


def need(path):
    if not os.path.exists(path):
        raise Unable(path)


def run_each(*tests):
    """Runs each in a directory of its own; ends with 77 where one was left out."""
    status = 0
    for test in tests:
        begin = time.monotonic()
        with tempfile.TemporaryDirectory() as root:
            try:
                test(root)
                print(f"{test.__name__}: {time.monotonic() - begin:.1f} s", flush=True)
            except Unable as path:
                print(f"{test.__name__}: left out without {path}", flush=True)
                status = 77
    sys.exit(status)


def write_file(path, content):
    with open(path, "wb") as file:
        file.write(content)


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


def make_table(root, table, records=None, schema=SCHEMA):
    """records are the stored lines by id; gives the table directory."""
    kiv = os.fsencode(root) + b"/kiv/"
    directory = kiv + b"database/" + os.fsencode(table)
    os.makedirs(directory)
    os.makedirs(kiv + b"schema", exist_ok=True)
    write_file(kiv + b"schema/" + os.fsencode(table), schema)
    for name, line in (records or {}).items():
        write_file(directory + b"/" + os.fsencode(str(name)), line)
    return os.fsdecode(directory)


def make_big_table(root, table, count):
    """With so many links to one record."""
    directory = make_table(root, table, {0: b"a|1|"})
    for i in range(1, count):
        os.link(directory + "/0", f"{directory}/{i}")
    return directory


def ini(text):
    """A creation file; in text a table a line: NAME COLUMN ...: RECORD; ..."""
    parts = ["[first]"]
    for line in text.split("\n"):
        head, _, records = line.partition(": ")
        table, *columns = head.split(" ")
        columns = [c if "[" in c else c + "[varchar]" for c in columns]
        parts += [f"[{table}]", "schema = " + "|".join(["id[int]", *columns])]
        records = [r for r in records.split("; ") if r]
        parts += [f"rec_{i} = {r}" for i, r in enumerate(records, 1)]
    return "\n".join(parts + [""]).encode()


def read_table(directory):
    return {name: read_file(os.path.join(directory, name))
            for name in os.listdir(directory)}


def entries(root):
    """All directories, as PATH/., and what else is in them."""
    for path, _, names in os.walk(root):
        yield from (os.path.join(path, name) for name in [".", *names])


def tree_of(root, has_access):
    """All that looking must leave, with the times of access where it can."""
    return {entry: (s.st_ino, s.st_mode, s.st_size, s.st_mtime_ns, s.st_ctime_ns,
                    has_access and s.st_atime_ns)
            for entry in entries(root) for s in [os.lstat(entry)]}


@contextlib.contextmanager
def locked(directory):
    lock = os.open(directory, os.O_RDONLY)
    fcntl.flock(lock, fcntl.LOCK_EX)
    try:
        yield
    finally:
        os.close(lock)


def save(directory, name, line):
    """The steps of the library, without the lock and without forcing to disk."""
    path = f"{directory}/{name}"
    write_file(path + ".tmp", line)
    if is_there := os.path.exists(path):
        os.unlink(path)
    os.rename(path + ".tmp", path)
    return "~" if is_there else "+"


def call(words, **options):
    """Runs to the end; gives (status, standard output, standard error)."""
    if "input" not in options:
        options.setdefault("stdin", subprocess.DEVNULL)
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | options
    done = subprocess.run(words, timeout=50, **options)
    return done.returncode, done.stdout, done.stderr


def run(words, status=0, **options):
    """As call, with that status: gives (standard output, standard error)."""
    done = call(words, **options)
    assert done[0] == status, (words, done, status)
    return done[1:]


def wait_until(what, seconds=30):
    end = time.monotonic() + seconds
    while not what():
        assert time.monotonic() < end, "waited for too long"
        time.sleep(0.0002)


def read_value(stored):
    """The value that a stored one reads as."""
    def undo(match):
        short = {b"\\": b"\\", b"n": b"\n", b"r": b"\r", b"t": b"\t"}
        code = match.group(1)
        return short.get(code) or bytes([int(code[1:], 16)])
    value = re.sub(rb"\\([\\nrt]|x(?!00)[0-9a-fA-F]{2})", undo, stored)
    return value[:2047]


def read_database(root):
    """Paths and contents; not what is made beside."""
    tree = {}
    for path, directories, names in os.walk(root + "/kiv"):
        directories[:] = [d for d in directories if not d.startswith("create-")]
        for name in directories:
            tree[os.path.relpath(os.path.join(path, name), root)] = None
        for name in names:
            entry = os.path.join(path, name)
            tree[os.path.relpath(entry, root)] = (
                read_file(entry) if os.path.isfile(entry) else None)
    return tree


def read_end(root):
    tree = read_database(root)
    return {path: text for path, text in tree.items() if "kiv/removed" not in path}


def run_to_call(words, preload, number, root):
    """Killed before the call of that number, if it makes so many."""
    env = os.environ | preload | {"KIVDB_STOP_AT": str(number)}
    return call(words, cwd=root, env=env)


def kill_everywhere(preload, prepare, words, verify):
    """verify gets each root and the number of the call, None for a whole run."""
    number, status = 0, -signal.SIGKILL
    while status == -signal.SIGKILL:
        number += 1
        with tempfile.TemporaryDirectory() as root:
            prepare(root)
            done = run_to_call(words, preload, number, root)
            status = done[0]
            try:
                verify(root, number if status == -signal.SIGKILL else None)
            except Exception as error:
                raise AssertionError(f"{words} before call {number}: {done}") from error
    assert status in (0, 1) and number > 3, (words, done, number)
    return number - 1
