#!/usr/bin/env python3
"""Random tables and rows through list and import: imports.py KIVDB COUNT SEED

The csv and json modules judge what is well-formed; a dictionary is the table.
"""
import csv
import io
import json
import os
import random
import re
import sys
import tempfile

from common import call, make_table, read_table, read_value, run, write_file

KIVDB = os.path.abspath(sys.argv[1])
CELL = re.compile(rb'(?:"((?:[^"]|"")*)"|([^",\r\n]*))(,|\r?\n|\Z)')
MARK = b"\xef\xbb\xbf"
UNNAMEABLE = [b"b c", b"f,\xc3\xa9"]  # in an update text
COLUMNS = [b"id", b"a", b"b c", b'd"e', b"f,\xc3\xa9"]


class CFault(Exception):
    """With the status."""


def is_number(text, bits=32):
    return bool(re.fullmatch(rb"0|-?[1-9]\d*", text)
                and -2**(bits - 1) <= int(text) < 2**(bits - 1))


def plan(table, rows, mode):
    """What the rows make of the table: {id: values} of the records to write.

    table has None for what cannot be read; rows are [(name, value)].
    """
    named = []
    for pairs in rows:
        values = dict(pairs)
        if len(values) < len(pairs) or not values.keys() <= {*COLUMNS} or any(
                b"\0" in value or len(value) + 3 * value.count(b",") > 2047
                for value in values.values()):
            raise CFault(1)
        named.append((values.pop(b"id", b""), values))
    seen = set()
    for name, _ in named:
        is_id = name.decode("latin1") in table or is_number(name)
        if name in seen or name.endswith(b".tmp") or (
                not is_id if name else mode == "--update"):
            raise CFault(1)
        seen |= {name} - {b""}
    heads = [int((re.match(r"[+-]?\d+", name) or "0")[0]) for name in table]
    heads += [int(name) for name in seen if is_number(name)]
    highest = max([head % 2**32 for head in heads], default=0)
    if 0 < sum(not name for name, _ in named) > 2**32 - 1 - highest:
        raise CFault(2)
    steps = {}
    for name, values in named:
        if not name:
            highest += 1
            name = b"%d" % ((highest + 2**31) % 2**32 - 2**31)
        name = name.decode()
        whole = [values.get(column, b"") for column in COLUMNS[1:]]
        if name not in table:
            if mode == "--update" or name + ".tmp" in table:
                raise CFault(1)
        elif not mode:
            raise CFault(1)
        elif mode == "--update" or not is_number(name.encode()):
            if table[name] is None:
                raise CFault(2)
            for i, column in enumerate(COLUMNS[1:]):
                if mode == "--update" and column not in values:
                    whole[i] = table[name][i]
                if whole[i] != table[name][i] and column in UNNAMEABLE:
                    raise CFault(2)
        steps |= {name: whole} if whole != table.get(name) else {}
    return steps


def read_values(files):
    """{name: values} of a table's files."""
    table = {}
    for name, line in files.items():
        stored = line.removesuffix(b"|").split(b"|")
        is_whole = len(stored) == len(COLUMNS) - 1 and not name.endswith(".tmp")
        table[name] = list(map(read_value, stored)) if is_whole else None
    return table


def check_import(root, text, form, mode="", wanted_line=None):
    """Gives the status, with which it is right."""
    directory = root + "/kiv/database/t"
    files = read_table(directory)
    table, steps = read_values(files), {}
    try:
        rows = JUDGES[form](text)
        wanted = {0, 1} if rows is None else {0}
        steps = plan(table, rows or [], mode)
    except CFault as fault:
        wanted = {*fault.args}
    except ValueError:
        wanted = {1}
    words = [KIVDB, "-r", root, "import", "t", "--from", form, *filter(None, [mode])]
    status, out, error = call(words, input=text)
    known = (text, mode, files, wanted, status, out, error)
    assert status in wanted, known
    after = read_table(directory)
    if status:
        told = re.match(rb"kivdb: (?:standard input:(\d+)|t(?:/\S+)?): .*\n\Z", error)
        assert told and wanted_line in (None, int(told[1] or 0)), known
        assert status == 2 or 1 <= int(told[1]) <= text.count(b"\n") + 1, known
        assert after == files, (after, known)
    elif wanted == {0}:
        assert (out, error) == (b"%d\n" % len(steps), b""), known
        values = read_values(after)
        assert values == table | steps, (values, steps, known)
        for name, line in files.items():
            old, new = line.split(b"|"), after[name].split(b"|")
            assert name in steps or old == new, (name, known)
            kept = [a == b or mode == "--replace" or read_value(a) != read_value(b)
                    for a, b in zip(old, new)]
            assert all(kept), (name, old, new, known)
    return status


def judge_csv(text):
    """The rows as RFC 4180 has them, or None where it says nothing."""
    text = text.removeprefix(MARK)
    rows, cells, at = [], [], 0
    while at < len(text) or cells:
        cell = CELL.match(text, at)
        if not cell and re.compile(rb'("([^"]|"")*"|[^",\r\n]*)\r').match(text, at):
            return None  # a carriage return by itself
        if not cell:
            raise ValueError("no cell")
        quoted, plain, end = cell.groups()
        at = cell.end()
        cells.append(plain if quoted is None else quoted.replace(b'""', b'"'))
        if end != b",":
            rows += [] if cells == [b""] and quoted is None else [cells]
            cells = []
    module = csv.reader(io.StringIO(text.decode("latin1"), newline=""), strict=True)
    assert [[cell.encode("latin1") for cell in row] for row in module if row] == rows
    if not rows or any(len(row) != len(rows[0]) for row in rows):
        raise ValueError("no header or no columns")
    if len({*rows[0]}) < len(rows[0]) or not {*rows[0]} <= {*COLUMNS}:
        raise ValueError("no such header")
    return [list(zip(rows[0], row)) for row in rows[1:]]


def refuse(text):
    raise ValueError(text)


def judge_json(text):
    def take(pairs):
        row = []
        for name, value in pairs:
            if isinstance(value, (bool, list, tuple)):
                raise ValueError("no text or integer")
            value = "" if value is None else str(value)
            row.append((name.encode(), value.encode()))
        return tuple(row)
    value = json.loads(text.decode().removeprefix("\ufeff"), object_pairs_hook=take,
                       parse_float=refuse, parse_constant=refuse)
    rows = value if isinstance(value, list) else [value]
    if not all(isinstance(row, tuple) for row in rows):
        raise ValueError("no objects")
    return rows


def judge_lines(text):
    objects = [line for line in text.split(b"\n") if line.strip(b" \t\v\f\r")]
    values = [judge_json(line) for line in objects]
    if any(line.removeprefix(MARK).strip()[:1] == b"[" for line in objects):
        raise ValueError("an array")
    return sum(values, [])


JUDGES = {"csv": judge_csv, "json": judge_json, "jsonl": judge_lines}


PIECES = [b"a", b"7", b" ", b'"', b"'", b",", b"\\x2c", b"\\x7C", b"\\n", b"\\r",
          b"\\q", b"\\x00", b"\t", b"\x01", b"\r", b"{", b"\xc3\xa9",
          b"\xf0\x9f\x98\x80"]
NUMBERS = [b"0", b"-0", b"007", b"+1", b" 1", b"1 ", b"1e2", b"-2147483648",
           b"2147483647", b"2147483648", b"9223372036854775807", b"9223372036854775808",
           b""]


def random_value(pieces):
    if random.random() < 0.4:
        return random.choice(NUMBERS)
    return b"".join(random.choices(pieces, k=random.choice([0, 1, 2, 4])))


def round_trip(work, form, chosen):
    """A listing holds the values, and its import gives them again."""
    types = [random.choice([b"int", b"bigint", b"varchar"]) for _ in COLUMNS]
    schema = b"|".join(map(b"%s[%s]".__mod__, zip(COLUMNS, types)))
    pieces = PIECES + ([b"\xff", b"\xc3"] if form == "csv" else [])
    ids = random.sample([*range(-3, 6), 2147483647, -2147483648], 5)
    make_table(work + "/a", "t", {number: b"".join(
        random_value(pieces) + b"|" for _ in COLUMNS[1:]) for number in ids}, schema)
    write_file(work + "/a/kiv/database/t/7", b"||||")
    ids.append(7)
    table = read_values(read_table(work + "/a/kiv/database/t"))
    words = [KIVDB, "-r", work + "/a", "list", "t", "-o", form]
    words += [] if chosen == COLUMNS else ["--columns", b",".join(chosen)]
    text, _ = run(words)
    rows = [dict(zip(COLUMNS, [b"%d" % number, *table[str(number)]]))
            for number in sorted(ids)]
    rows = [[(name, row[name]) for name in chosen] for row in rows]
    assert list(map(list, JUDGES[form](text))) == rows, (text, rows)
    for line in text.splitlines() if form == "jsonl" else []:
        for name, value in json.loads(line).items():
            size = {b"int": 32, b"bigint": 64}.get(types[COLUMNS.index(name.encode())])
            is_kept = bool(size) and is_number(str(value).encode(), size)
            assert isinstance(value, int) == is_kept, (name, value, size)
    make_table(work + "/b", "t", {}, schema)
    assert check_import(work + "/b", text, form) == 0


# Such as go with each mode, and such as do not.
ODD = [[b"5", b"odd", b"07", b"9", b"20", b"5.tmp", b"x/y", b"01", b"-1", b"-3"],
       [b"", b"", b"3", b"3", b"-3", b"2147483647"]]
IDS = {"": [[b"", b"", b"2", b"4"]] * 3 + ODD,
       "--replace": [[b"1", b"3", b"5", b"", b"8"]] * 3 + ODD,
       "--update": [[b"1", b"5", b"odd"], [b"5", b"07", b"3"]] * 4 + ODD}


def random_text(form, mode):
    names = [b"id"] * (random.random() < 0.9)
    names += random.sample(COLUMNS[1:], random.randint(1, 3))
    names += random.choices([b"none", b"a", b"id"], k=random.random() < 0.08)
    random.shuffle(names)
    there = dict(zip(COLUMNS[1:], [b"v", b"w", b"", b"y"]))
    long = [b"," * 511, b"," * 512, b"v" * 2047, b"v" * 2048]
    rows = [[number if name == b"id" else
             random.choice(long) if random.random() < 0.03 else
             there.get(name, b"") if number == b"5" and random.random() < 0.6 else
             b"".join(random.choices([*PIECES, b"\n"], k=random.choice([0, 1, 3])))
             for name in names]
            for number in random.sample(random.choice(IDS[mode]), random.randint(1, 3))]
    if form == "csv":
        text = io.StringIO(newline="")
        quoting = random.choice([csv.QUOTE_MINIMAL, csv.QUOTE_ALL])
        end = random.choice(["\r\n", "\n", "\r\n\n"])
        for row in [names, *rows]:
            cells = [cell.decode("latin1") for cell in row]
            csv.writer(text, quoting=quoting, lineterminator=end).writerow(cells)
        return random.choice([b"", MARK]) + text.getvalue().encode("latin1")
    rows = [{name.decode(): json_value(value) for name, value in
             random.sample([*zip(names, row)], random.randint(0, len(row)))}
            for row in rows]
    options = {"ensure_ascii": random.random() < 0.5}
    if form == "json":
        return json.dumps(rows, indent=1, **options).encode()
    return "\n".join(json.dumps(row, **options) for row in rows).encode()


def json_value(value):
    if random.random() < 0.05:
        return random.choice([1.5, 1e200, True, [1], {}])
    if value == b"" or not is_number(value, 80) or random.random() < 0.3:
        return value.decode() or random.choice([None, ""])
    return int(value)


RECORDS = {1: b"\\x61|b||\\x64|", 3: b"|||x|", 5: b"\\x76|w||y|", "odd": b"1|2|3|4|",
           "07": b"|||\\q|", "20.tmp": b"cut"}


def make_rows_table(root):
    records = dict(RECORDS)
    if random.random() < 0.3:
        records[random.choice([9, "9.tmp", 2147483647, -2, -3])] = b"cut|"
    make_table(root, "t", records, b"|".join(name + b"[varchar]" for name in COLUMNS))


def mutations(text, count):
    yield from (text[:size] for size in range(len(text)))
    yield from (text + b"\0", text + b"\0x", text + text)
    for _ in range(count):
        at = random.randrange(len(text))
        flipped = bytes([text[at] ^ 1 << random.randrange(8)])
        others = [bytes([byte]) for byte in b'",{}[]:\n\r\0-1']
        new = random.choice([b"", text[at:at + 1] * 2, flipped, *others])
        yield text[:at] + new + text[at + 1:]


MUTATED = {
    "csv": MARK + b'id,"f,\xc3\xa9",a\r\n7,"x ""y""\r\nz",1\r\n\r\n-4,,"\xe2\x82"\r\n',
    "json": b'[ {"id": 7, "a": "\\u00e9\\ud83d\\ude00\xc3\xa9"},\n{"a":-1,"id":null}]',
    "jsonl": b'{"id":"7","a":null }\n\n{"b c":\t"x\\n\\"", "id":12}\n'}
# With the line of the fault, or 0.  What is there already is not written and keeps
# its bytes.
FIXED = [("json", "", b'{"a":1.5}', 1), ("json", "", b'[\n{"a":{}}]', 2),
         ("json", "", b'{"a":1,\n"a":2\n}', 2), ("jsonl", "", b'\n{"id":20}', 2),
         ("json", "", b'{"a":1,\n"c":2\n}', 2), ("jsonl", "--update", b'\n{"id":4}', 2),
         ("csv", "", b"a\n\n1\n\n\n2,3\n", 6), ("csv", "", b'a\n"\n\n"\n"2\n', 5),
         ("csv", "", b"a\n1\n" + b"v" * 2048, 3), ("csv", "", b"id\n8\n8\n", 3),
         ("json", "--update", b'{"id":5, "a":"v", "d\\"e":"n"}', 0),
         ("json", "--replace", b'{"id":5, "a":"v", "b c":"w", "f,\\u00e9":"y"}', 0)]


def main():
    count = int(sys.argv[2])
    random.seed(int(sys.argv[3]))
    cases = list(FIXED)
    chosens = [COLUMNS, COLUMNS, [b"a"], [b"b c", b"id"], [b"id", b'd"e', b"a"]]
    for form in JUDGES:
        for chosen in chosens:
            with tempfile.TemporaryDirectory() as work:
                round_trip(work, form, chosen)
        modes = random.choices(["", "--replace", "--update", "--update"], k=count)
        cases += [(form, mode, random_text(form, mode), None) for mode in modes]
        cases += [(form, "", text, None) for text in mutations(MUTATED[form], 2 * count)]
    done = {0: 0, 1: 0, 2: 0}
    for form, mode, text, line in cases:
        with tempfile.TemporaryDirectory() as work:
            make_rows_table(work)
            status = check_import(work, text, form, mode, line)
            assert line is None or (status == 0) == (line == 0), text
            done[status] += 1
    print("imports by status:", done)


main()
