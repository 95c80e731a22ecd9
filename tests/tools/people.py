#!/usr/bin/env python3
"""The tool at a terminal, and its streams: people.py KIVDB"""
import contextlib
import errno
import os
import pty
import re
import select
import signal
import subprocess
import sys
import termios
import time

from common import (make_big_table, make_table, need, read_table, run, run_each,
                    write_file)

KIVDB = os.path.abspath(sys.argv[1])
OLD = (978307200, 978307200)
ENV = {key: text for key, text in os.environ.items()
       if key not in ("NO_COLOR", "VISUAL", "EDITOR")}


class CTerminal:
    """A command on a terminal without echo; what is typed may come before."""

    def __init__(self, words, typed=b"", env=None, stderr=None):
        need("/dev/pts/ptmx")
        self.master, slave = pty.openpty()
        modes = termios.tcgetattr(slave)
        modes[1] &= ~termios.OPOST
        modes[3] &= ~termios.ECHO
        termios.tcsetattr(slave, termios.TCSANOW, modes)
        self.process = subprocess.Popen(
            [KIVDB, *words], stdin=slave, stdout=slave, stderr=stderr or slave,
            env=ENV | (env or {}), start_new_session=True)
        os.close(slave)
        self.output = b""
        self.type(typed)

    def type(self, text):
        os.write(self.master, text)

    def read_until(self, wanted=None):
        while wanted is None or wanted not in self.output:
            ready = select.select([self.master], [], [], 20)[0]
            assert ready, ("waits for ever", self.output, self.process.kill())
            try:
                piece = os.read(self.master, 65536)
            except OSError as error:
                assert error.errno == errno.EIO, error
                piece = b""
            if not piece:
                assert wanted is None, (wanted, self.output)
                return
            self.output += piece

    def end(self, status):
        self.read_until()
        os.close(self.master)
        assert self.process.wait(50) == status, (self.process, self.output)
        return self.output


def at_terminal(words, status=0, typed=b"", env=None):
    return CTerminal(words, typed, env).end(status)


BAD = {b"\x1b": b"\\x1b", b"\x07": b"\\x07", b"\x7f": b"\\x7f",
       b"\t": b"\\t", b"\r": b"\\r", b"\xc2\x9b": b"\\xc2\\x9b",
       b"\xd8\x9c": b"\\xd8\\x9c", b"\xe2\x80\x8f": b"\\xe2\\x80\\x8f",
       b"\xe2\x80\xa8": b"\\xe2\\x80\\xa8", b"\xe2\x80\xae": b"\\xe2\\x80\\xae",
       b"\xe2\x81\xa6": b"\\xe2\\x81\\xa6", b"\xff": b"\\xff",
       b"\xc0\xaf": b"\\xc0\\xaf",
       b"\xed\xa0\x80": b"\\xed\\xa0\\x80", b"\xe2\x82": b"\\xe2\\x82"}


def escapes(root):
    """Nothing that a record, a name or an argument holds reaches a terminal."""
    value, shown = b"-".join(BAD) + b"\xc3\xa9", b"-".join(BAD.values()) + b"\xc3\xa9"
    schema = b"id[int]|a" + value + b"[varchar]|b[varchar]"
    make_table(root, value, {1: value + b"|x|", os.fsdecode(value): b"|"}, schema)
    column = b"a" + value
    table = [b"-r", root.encode()]
    for words, status, wanted in [
            ([b"get", value, b"1"], 0, b"a" + shown + b" = " + shown + b"\n"),
            ([b"get", value, b"1", column], 0, shown + b"\n"),
            ([b"get", value, b"9", b"b", b"--default", value], 0, shown + b"\n"),
            ([b"list", value], 2, b" 1  " + shown),
            ([b"schema"], 0, shown), ([b"tables"], 0, shown),
            ([b"check"], 1, shown), ([b"check", value + value], 2, shown),
            ([b"delete", value, value, b"--dry-run"], 0, b": 1 of 2 values"),
            ([b"get", value, b"1", value], 2, b"no column " + shown),
            ([b"lst" + value], 2, shown), ([b"list", value, b"--" + value], 2, shown)]:
        output = at_terminal(table + words, status)
        assert wanted in output, (words, output)
        found = [bad for bad in BAD if bad in output]
        assert not found, (words, found, output)
    # A pipe gets the value itself, and lines that are safe.
    assert run([KIVDB, *table, b"get", value, b"1", column])[0] == value + b"\n"
    errors = run([KIVDB, *table, b"get", value, value], 2)[1]
    assert errors == b"kivdb: " + shown + b"/" + shown + b": 1 of 2 values\n", errors


ANSWERS = [(b"y\n", 0), (b"YES\n", 0), (b"n\n", 1), (b"\n", 1), (b"\x04", 1)]


def consent(root):
    for command in ("clear", "drop-table"):
        for answer, status in ANSWERS:
            table = command + answer.hex()
            directory = make_table(root, table, {1: b"a|1|", 2: b"b|2|"})
            output = at_terminal(["-r", root, command, table], status, answer)
            assert b"2 records of " + table.encode() in output, output
            left = read_table(directory) if os.path.isdir(directory) else None
            gone = {} if command == "clear" else None
            assert left == (gone if status == 0 else {"1": b"a|1|", "2": b"b|2|"})
        directory = make_table(root, command, {1: b"a|1|"})
        output = at_terminal(["-r", root, command, command, "-q"], 2, b"y\n")
        assert b"--force" in output and b"?" not in output, output
        assert read_table(directory) == {"1": b"a|1|"}


def repair(root):
    records = {f"{i}.tmp": b"a|%d|" % i for i in range(1, 5)}
    directory = make_table(root, "t", records)

    def age():
        for name in os.listdir(directory):
            os.utime(f"{directory}/{name}", OLD)
    age()
    words = ["-r", root, "check", "--repair"]
    output = at_terminal(words + ["-q"], 1)
    assert (output, read_table(directory)) == (b"", records), output
    output = at_terminal(words, 1, b"r\nd\n\n\x04")
    assert output.count(b"r restores it") == 4, output
    wanted = {"1": b"a|1|", "3.tmp": b"a|3|", "4.tmp": b"a|4|"}
    assert read_table(directory) == wanted, (read_table(directory), output)
    # Decided by another one while the question stands there.
    asked = CTerminal(words)
    asked.read_until(b"leaves it:")
    run([KIVDB, *words, "--restore"])
    asked.type(b"d\nd\n")
    asked.end(0)
    wanted = {str(i): b"a|%d|" % i for i in (1, 3, 4)}
    assert read_table(directory) == wanted, read_table(directory)


EDITOR = """grep -q prot "$1" && echo again >>"$0.log"
case $(wc -l <"$0.log") in
3) sed -i s/prot/port/ "$1" ;;
*) sed -i 's/port = .*/prot = 7/' "$1" ;;
esac
"""


def edit(root):
    """The editor spoils the text, and mends it when it has seen it three times."""
    script = root + "/editor"
    write_file(script, EDITOR.encode())
    directory = make_table(root, "t", {1: b"a|1|"})
    words, env = ["-r", root, "edit", "t", "1"], {"VISUAL": "sh " + script}
    for answers, asked, status, port in [
            (b"y\n\nY\n", 3, 0, b"7"), (b"n\n", 1, 1, b"1"),
            (b"y\nn\n", 2, 1, b"1"), (b"\x04", 1, 1, b"1")]:
        write_file(directory + "/1", b"a|1|")
        write_file(script + ".log", b"")
        output = at_terminal(words, status, answers, env)
        assert output.count(b"edit again?") == asked, (answers, output)
        assert read_table(directory) == {"1": b"a|" + port + b"|"}, answers
    assert b"edit again" not in at_terminal(words + ["-q"], 2, b"n\n", env)


def progress(root):
    """A run that is held up tells how far it is, where that is wanted."""
    count = 10000
    write_file(make_big_table(root, "big", count) + "/1x", b"")
    write_file(root + "/in.csv", b"name\n" + b"n\n" * count)
    make_table(root, "new")
    need("/proc/self/fd")

    def is_at_work(pid, words):
        if "import" in words:
            return bool(os.listdir(root + "/kiv/database/new"))
        fds = f"/proc/{pid}/fd/"
        with contextlib.suppress(FileNotFoundError):
            return any("/big/" in os.readlink(fds + name) for name in os.listdir(fds))
        return False

    def start_and_stop(words, env):
        for _ in range(100):  # on a busy machine it may have ended before
            started = CTerminal(words, env=env)
            while started.process.poll() is None:
                if is_at_work(started.process.pid, words):
                    os.kill(started.process.pid, signal.SIGSTOP)
                    return started
        raise AssertionError("always ends before it can be stopped")

    check, runs = ["-r", root, "check", "big"], []
    for words, env, status, is_shown in [
            (check, {}, 1, True), (check + ["--no-progress"], {}, 1, False),
            (check, {"NO_COLOR": ""}, 1, False), (check + ["-q"], {}, 1, False),
            (["-r", root, "import", "new", root + "/in.csv"], {}, -9, True)]:
        runs.append((start_and_stop(words, env), words, status, is_shown))
    time.sleep(2.1)  # both seconds that are waited for, as they are whole
    for started, words, status, is_shown in runs:
        os.kill(started.process.pid, signal.SIGCONT)
        if status < 0:
            started.read_until(b" of %d" % count)
            started.process.kill()
        output = started.end(status)
        assert is_shown == (b"big: " in output or b"new: " in output), (words, output)
        assert b"\x1b" not in output, (words, output)
        lines = re.sub(rb"(?:\r *\r)?big: \d+ of \d+\r *\r", b"", output)
        assert status < 0 or (b"1x" in lines) == ("-q" not in words), (words, output)
        assert status < 0 or not re.search(rb"\r|\d of \d", lines), (words, output)


# What prints on the database of streams, with the status.
FORMATS = ("table", "tsv", "csv", "json", "jsonl", "raw", "ids")
PRINTING = [
    *((f"list hosts -o {form}", 0) for form in FORMATS),
    *((f"{words} -o {form}", status) for words, status in
      [("tables", 0), ("schema", 0), ("get hosts 1", 0), ("get hosts 1 port", 0),
       ("check", 1), ("check --repair --dry-run", 1), ("diff other", 1),
       ("list hosts --unsorted", 0)] for form in ("table", "json")),
    ("list hosts --count", 0), ("dump hosts", 0), ("add hosts port=1", 0),
    ("add hosts --id 7 --replace port=1", 0), ("delete hosts 9 --force", 0),
    ("delete hosts --where port=80 --dry-run", 0), ("clear hosts --dry-run", 0),
    ("drop-table hosts --dry-run", 0), ("import hosts same.csv --update", 0),
    ("import hosts in.csv --replace --dry-run", 0),
    ("batch same.txt", 0), ("batch in.txt --dry-run", 0),
    ("-r none create new.ini --dry-run", 0), ("backup -", 0), ("--version", 0),
    ("--help", 0)]
SILENT = ["set hosts 1 port=81", "set hosts 1 port=80", "batch in.txt"]
NO = ["get hosts 9", "get hosts 9 port", "list hosts port=5",
      "list hosts port=5 --count",
      "list hosts port=5 -o json --unsorted", "add hosts --id 1", "add hosts --max 1",
      "set hosts 9 port=1", "delete hosts 1 9", "delete hosts --where port=5",
      "edit hosts 9", "import hosts in.csv", "import hosts bad.csv",
      "import hosts in.csv --dry-run", "batch bad.csv", "batch bad.txt", "create new.ini",
      "add-table hosts id:int,x:int", "check", "check --repair --dry-run", "diff other",
      "diff new.ini", "dump odd", "-r other backup -", "restore in.csv"]


def make_streams(root):
    make_table(root, "hosts", {1: b"a|80|", 2: b"b|443|"})
    make_table(root, "odd", {"1x": b"a|1|"})
    make_table(root + "/other", "hosts", {1: b"a|81|"})
    write_file(root + "/in.csv", b"id,port\n1,8080\n")
    os.symlink("hosts", root + "/other/kiv/link")
    write_file(root + "/same.csv", b"id,port\n1,80\n")
    write_file(root + "/bad.csv", b"id\n1,2\n")
    write_file(root + "/in.txt", b"set hosts 1 port=81\nset hosts 1 name=b port=80\n"
               b"set hosts 1 name=a\n\nset hosts 2 name=c\n")
    write_file(root + "/same.txt", b"set hosts 1 port=80\ndelete hosts 9 --force\n")
    write_file(root + "/bad.txt", b"delete hosts 1\ndelete hosts --where id=1\n")
    write_file(root + "/new.ini", b"[f]\n[t]\nschema = id[int]|x[int]\n")


def streams(root):
    make_streams(root)
    helps = re.findall(rb"^  ([a-z][a-z-]*) ", run([KIVDB, "help"])[0], re.M)
    assert len(helps) > 10, helps
    reader, closed_pipe = os.pipe()
    os.close(reader)
    with open("/dev/full", "wb") as full:
        lines = PRINTING + [("help " + name.decode(), 0) for name in helps]
        for line, status in lines:
            words = [KIVDB, *line.split()]
            output = run(words, status, cwd=root)[0]
            assert output, line
            errors = run(words, 2, cwd=root, stdout=full)[1]
            assert b"standard output: cannot write: No space" in errors, (line, errors)
            assert run(words, 2, cwd=root, stdout=closed_pipe)[1] == b"", line
            shell = ["sh", "-c", '"$@" <&- 2>&-', "sh", *words]
            again = run(shell, status, cwd=root)[0]
            assert again == output or line.startswith("add"), (line, output, again)
            shell[2] = '"$@" >&-'
            errors = run(shell, 2, cwd=root)[1]
            assert b"standard output: cannot write: Bad file" in errors, (line, errors)
        for line in SILENT:
            run([KIVDB, *line.split()], cwd=root, stdout=full)
            run(["sh", "-c", f'"$0" {line} >&- <&- 2>&-', KIVDB], cwd=root)
    os.close(closed_pipe)
    before = read_table(root + "/kiv/database/hosts")
    for line in NO:
        words = [KIVDB, *line.split()]
        assert run(words, 1, cwd=root) != (b"", b""), line
        assert run([*words, "-q"], 1, cwd=root) == (b"", b""), line
    after = read_table(root + "/kiv/database/hosts")
    assert before == after and after["1"] == b"a|80|", (before, after)


def main():
    run_each(escapes, consent, repair, edit, progress, streams)


main()
