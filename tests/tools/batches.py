#!/usr/bin/env python3
"""Random batches: batches.py KIVDB COUNT SEED

Dictionaries are the tables, shlex judges the quotes, and the commands by themselves
must do what their lines do.
"""
import copy
import os
import random
import shlex
import sys
import tempfile

from common import call, make_table, read_table, read_value, run

KIVDB = os.path.abspath(sys.argv[1])
TABLES, COLUMNS = ["t", "u 'v"], ["a", "b"]
PIECES = ["a", "7", " ", "\t", "\n", "\r", "'", '"', "\\", "\\\n", "$x", "`", "#", "*",
          "=", ",", "|", ";", "\u00e9", "\u2028", "\udcff"]


class CRefused(Exception):
    """With the status."""


def require(is_right, status=1):
    if not is_right:
        raise CRefused(status)


class CTable:
    def __init__(self, ids, leftovers):
        self.records = {number: {"a": "a", "b": number} for number in ids}
        self.leftovers = {*leftovers}  # ids of temporary files

    def write(self, number, values):
        if self.records.get(number) != values:
            self.records[number] = values
            self.leftovers.discard(number)

    def add(self, values, number, limit, replaces):
        check_sizes(values)
        if number is None:
            heads = [int(name) % 2**32 for name in [*self.records, *self.leftovers]]
            highest = max(heads, default=0)
            require(highest < 2**32 - 1, 2)
            require(not limit or highest < int(limit))
            number = str((highest + 1 + 2**31) % 2**32 - 2**31)
        is_there = number in self.records
        require(replaces if is_there else number not in self.leftovers)
        self.write(number, dict.fromkeys(COLUMNS, "") | values)
        return number + "\n"

    def set(self, values, number):
        check_sizes(values)
        require(number in self.records)
        self.write(number, self.records[number] | values)
        return ""

    def delete(self, numbers, is_forced):
        there = {*numbers} & {*self.records}
        require(is_forced or there == {*numbers})
        for number in there:
            del self.records[number]
        self.leftovers -= there
        return f"{len(there)}\n"

    def delete_where(self, values):
        numbers = [number for number, record in self.records.items()
                   if record | values == record]
        require(numbers)
        return self.delete(numbers, False)


def check_sizes(values):
    require(all(len(value) + 3 * value.count(",") <= 2047 for value in values.values()))


def random_value():
    if random.random() < 0.03:
        return "," * random.choice([511, 512])
    return "".join(random.choices(PIECES, k=random.choice([0, 1, 2, 4])))


def random_line(tables):
    """Its words, and what it does to the tables."""
    name = random.choice(TABLES)
    table = tables[name]
    ids = [*table.records, *table.leftovers, "3", "8", "-3"]
    number = random.choice(ids)
    known = random.choice([*table.records.values(), {}])
    values = {column: known.get(column, random_value())
              for column in random.sample(COLUMNS, random.choice([1, 1, 2]))}
    pairs = list(map("=".join, values.items()))
    command = random.choice(["add", "add", "set", "delete", "delete"])
    if command == "add":
        given, limit = random.choice([(number, ""), (None, ""), (None, "9")])
        options = ["--id", number] * bool(given) + ["--max", limit] * bool(limit)
        replaces = random.random() < 0.5
        words = ["--replace"] * replaces + [name, *pairs] + options
        return [command, *words], lambda: table.add(values, given, limit, replaces)
    if command == "set":
        return [command, name, number, *pairs], lambda: table.set(values, number)
    if random.random() < 0.5:
        words = [command, name, "--where", *pairs]
        return words, lambda: table.delete_where(values)
    numbers, is_forced = random.choices(ids, k=2), random.random() < 0.5
    words = [command, *["--force"] * is_forced, name, *numbers]
    return words, lambda: table.delete(numbers, is_forced)


def quote(word):
    if random.random() < 0.4 or not word:
        return shlex.quote(word)
    text = ""
    for c in word:
        ways = [shlex.quote(c), '"\\%s"' % c if c in '"\\' else '"%s"' % c]
        ways += ["\\" + c] * (c not in "\r\n") + [c] * (c not in "\r\n\t \\'\"")
        text += random.choice(ways)
    return text


def write_line(words):
    quoted = list(map(quote, words))
    assert shlex.split(" ".join(quoted)) == words, (quoted, words)
    blanks = random.choices([" ", "\t", "  ", " \\\n", "\\\n\t"], k=len(words))
    text = "".join(map("".join, zip(["", *blanks], quoted)))
    return random.choice(["", " "]) + text + random.choice(["\n", "\r\n", " \n"])


def make_batch(tables, count):
    """Lines, as (words, text, result), and one that is refused behind some of them,
    as (their number, text, status)."""
    lines, refused = [], []
    while len(lines) < count or not refused:
        before = copy.deepcopy(tables)
        words, do = random_line(tables)
        try:
            result = do()
        except CRefused as fault:
            refused.append((len(lines), write_line(words), fault.args[0]))
            tables.update(before)
        else:
            noise = random.choice(["", "", "\n", "# ' \\\n", " \t#\"\r\n"])
            lines.append((words, noise + write_line(words), result))
    return lines, random.choice(refused)


def make_root(root, tables):
    for name, table in tables.items():
        files = {number: b"\\x61|%s|" % number.encode() for number in table.records}
        files |= {number + ".tmp": b"left|7|" for number in table.leftovers}
        make_table(root, name, files, b"id[int]|a[varchar]|b[varchar]")


def read_root(root):
    return {name: read_table(f"{root}/kiv/database/{name}") for name in TABLES}


def read_values(files):
    return {name: dict(zip(COLUMNS, (read_value(value).decode(
                "utf8", "surrogateescape") for value in line.split(b"|"))))
            for name, line in files.items() if not name.endswith(".tmp")}


def check_batch(work):
    tables = {name: CTable(random.sample(["1", "2", "5", "-2"], random.randint(1, 3)),
                           random.choices(["1", "4", "6"], k=random.choice([0, 2])))
              for name in TABLES}
    batch, single = work + "/batch", work + "/single"
    make_root(batch, tables)
    make_root(single, tables)
    before = read_root(batch)
    lines, (place, fault, status) = make_batch(tables, random.randint(1, 9))
    texts = [text for _, text, _ in lines]
    known = (texts, place, fault, before)

    def run_batch(texts, *options):
        return call([KIVDB, "-r", batch, "batch", *options],
                    input="".join(texts).encode("utf8", "surrogateescape"))

    done = run_batch([*texts[:place], fault, *texts[place:]])
    at = b"kivdb: standard input:%d: " % ("".join(texts[:place]).count("\n") + 1)
    assert done[:2] == (status, b"") and done[2], (known, done)
    assert all(line.startswith(at) for line in done[2].splitlines()), (known, done)
    foretold = run_batch(texts, "--dry-run")
    assert read_root(batch) == before, known
    done = run_batch(texts)
    results = "".join(result for _, _, result in lines).encode()
    assert done == (0, results, b""), (known, results, done)
    after = read_root(batch)
    for name, table in tables.items():
        assert read_values(after[name]) == table.records, (known, table.records, after)
    difference = call([KIVDB, "-r", single, "diff", batch])
    assert foretold == (0, *difference[1:]), (known, foretold, difference)
    for words, _, result in lines:
        words = [word.encode("utf8", "surrogateescape") for word in words]
        assert run([KIVDB, "-r", single, *words]) == (result.encode(), b""), known
    assert read_root(single) == after, (known, read_root(single), after)
    return len(lines)


def main():
    random.seed(int(sys.argv[3]))
    count = 0
    for _ in range(int(sys.argv[2])):
        with tempfile.TemporaryDirectory() as work:
            count += check_batch(work)
    print(count, "lines")


main()
