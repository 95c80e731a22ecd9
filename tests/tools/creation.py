#!/usr/bin/env python3
"""Random creation files: creation.py KIVDB HAND COUNT SEED

What create makes of a file is what the model below makes of it, and the library
by itself, through HAND; what create refuses leaves nothing.
"""
import os
import random
import re
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from common import call, read_file, run, write_file

BLANKS, MARK = b" \t\n\v\f\r", b"\xef\xbb\xbf"
NAMES = [b"{{$kivid}}", b"{{$kivhost}}", b"{{$kivversion}}"]


class CFault(Exception):
    """Of a line, an option, or of the file as a whole."""


def unquote(value):
    return value[1:-1] if re.fullmatch(rb'"[^"]*"', value) else value


def read_ini(text):
    """The sections: {name: (line, {key: (value, line)})}"""
    if b"\0" in text:
        raise CFault(text[:text.index(b"\0")].count(b"\n") + 1)
    sections, values = {}, None
    for number, line in enumerate(text.removeprefix(MARK).split(b"\n"), 1):
        line = line.strip(BLANKS)
        key, sign, value = line.partition(b"=")
        if line[:1] == b"[":
            name, end, _ = line[1:].partition(b"]")
            name = name.strip(BLANKS)
            if not end or not name:
                raise CFault(number)
            values = sections.setdefault(name, (number, {}))[1]
        elif sign and values is not None and line[:1] not in b";#":
            value = unquote(value.strip(BLANKS))
            values.setdefault(key.strip(BLANKS), (value, number))
    return sections


def choose(sections, number, host):
    """What the placeholders stand for: options, first section, defaults."""
    if not sections:
        raise CFault(None)
    first = next(iter(sections.values()))[1]
    own, line = first.get(b"kivid", (b"0", 0))
    is_number = re.fullmatch(rb"0|-?[1-9]\d*", own)
    if not is_number or not -2**31 <= int(own) < 2**31:
        raise CFault(line)
    own_host, line = first.get(b"kivhost", (b"", 0))
    if len(own_host) > 1023:
        raise CFault(line)
    given = host or b""
    needs_quotes = given.strip(BLANKS) != given or unquote(given) != given
    if len(given) > 1023 or b"\n" in given or needs_quotes and b'"' in given:
        raise CFault("--host")
    number = (int(own) if number is None else number) or 1
    return b"%d" % number, given or own_host or b"127.0.0.1", b"1.0"


def read_columns(line):
    specs = line.removesuffix(b"|").split(b"|")
    fits = [re.fullmatch(rb"([^[]*)\[(int|bigint|varchar)(\].*)?", spec, re.S)
            for spec in specs]
    return specs[:fits.index(None)] if None in fits else specs


def read_record(text, count, words):
    """(id, stored line), or None for what cannot be taken as it stands."""
    for name, word in zip(NAMES, words):
        if len(text) > 4094:
            return None
        text = text.replace(name, word)
    fields = text.removesuffix(b",").split(b",")
    fields = [field.strip(BLANKS) for field in fields]
    if len(text) > 4094 or count < 2 or len(fields) != count:
        return None
    if b"|" in b"".join(fields[1:]) or max(map(len, fields)) > 2047:
        return None
    digits = re.match(rb"[+-]?\d+", fields[0])
    number = min(max(int(digits.group()) if digits else 0, -2**63), 2**63 - 1)
    number = (number + 2**31) % 2**32 - 2**31
    return b"%d" % number, b"".join(field + b"|" for field in fields[1:])


def read_table(name, line, values, words):
    """(schema line, {id: stored line}); raises CFault with all its lines."""
    faults, records, count = set(), {}, 0
    if name in (b".", b"..") or b"/" in name or len(name) > 255:
        faults.add(line)
    schema, schema_line = values.get(b"schema", (b"", line))
    columns = read_columns(schema)
    if not columns or len(schema) > 2047:
        faults.add(schema_line)
    while values.get(b"rec_%d" % (count + 1), (b"", 0))[0]:
        count += 1
        text, line = values[b"rec_%d" % count]
        record = read_record(text, len(columns), words)
        if record is None or record[0] in records:
            faults.add(line)
        else:
            records[record[0]] = record[1]
    read = [b"rec_%d" % i for i in range(1, count + 1)]
    faults.update(line for key, (text, line) in values.items()
                  if re.fullmatch(rb"rec_\d+", key) and text and key not in read)
    if faults:
        raise CFault(*faults)
    return schema, records


def read_tree(root):
    tree = {}
    for path, folders, files in os.walk(root + b"/kiv"):
        for name in folders + files:
            entry = os.path.join(path, name)
            content = read_file(entry) if name in files else None
            tree[entry[len(root) + 5:]] = os.stat(entry).st_mode, content
    tree.pop(b"base.ini", None)
    return tree


def require_tree(tree, tables):
    """The tree holds these tables, bytes and all."""
    lines = {name: content and content.split(b"\n")[0]
             for name, (_, content) in tree.items()}
    wanted = {b"schema": None, b"database": None}
    for name, (schema, records) in tables.items():
        wanted[b"schema/" + name] = schema
        wanted[b"database/" + name] = None
        for number, line in records.items():
            wanted[b"database/" + name + b"/" + number] = line
    assert lines == wanted, (lines, wanted)


def check(kivdb, hand, work, text, number, host):
    file, root, other = work + b"/new.ini", work + b"/a", work + b"/b"
    write_file(file, text)
    create = [kivdb, b"-r", root, b"create", file]
    create += [] if number is None else [b"--id", b"%d" % number]
    create += [] if host is None else [b"--host", host]
    try:
        sections = read_ini(text)
        words = choose(sections, number, host)
        tables = {name: read_table(name, *section, words)
                  for name, section in list(sections.items())[1:]}
    except CFault as fault:
        status, _, error = call(create)
        place = re.match(rb"kivdb: (?:%s(?::(\d+))?|(--host)): .*\n\Z"
                         % re.escape(file), error)
        assert status == 2 and place, (status, error, fault)
        told = int(place[1]) if place[1] else place[2] and place[2].decode()
        assert told in fault.args, (error, fault)
        assert os.listdir(work) == [b"new.ini"], os.listdir(work)
        return False
    run(create)
    assert os.listdir(root) == [b"kiv"], os.listdir(root)
    tree = read_tree(root)
    require_tree(tree, tables)
    run([hand, other, "create", file, words[0], words[1]])
    assert read_tree(other) == tree, (read_tree(other), tree)
    run([kivdb, b"-r", root, b"diff", root + b"/kiv/base.ini"])
    if words == choose(sections, None, None):
        run([kivdb, b"-r", root, b"diff", file])
    return True


PIECES = [b"\\", b"\\x2c", b"\\x7C", b"\\n", b"\\x0", b" ", b"\t", b'"', b'"', b"'",
          b"{", b"\r", b"\x0b", b"\x01", b"=", b";", b"#", b"[", b"]", b"a", b"7",
          b"\xc3\xa9", b"\xff", b"rec_1 = 1", *NAMES]
IDS = [b"%d"] * 4 + [b"-%d", b"+%d", b"00%d", b"%dx", b"%d 3", b"42949672%02d"]
HOSTS = [None] * 30 + [b"", b"h", b" h ", b"h{{$kivversion}}{{$kivid}}", b'q"', b'"q"',
                      b' q"', b"a,b", b"a|b", b"a\nb", b"h" * 1023, b"h" * 1024]
TABLES = [b"hosts", b"a b", b"q'x\"y", b";c", b"#d", b"[z", b"=", b"\xff", b"first"]
ODD = [b"", b"; x", b" # [x", b"no sign", b"= 1", b"rec_x = 1", b"rec_ = 1", b"rec_9 =",
       b"rec_ 1 = 7", b"Schema = x", b"rec_1a = 1"]
SCHEMA_ENDS = [b""] * 20 + [b"|", b"\t#", b'"', b"|x", b"|c0[int"]


def random_section(name):
    columns = random.randint(1, 3)
    lines = [b"schema = id[int]" + b"|c[varchar]" * columns + random.choice(SCHEMA_ENDS)]
    for i in range(1, random.randint(1, 3)):
        fields = [b"".join(random.choices(PIECES, k=random.choice([0, 1, 1, 2, 4])))
                  for _ in range(columns)]
        fields.insert(0, random.choice(IDS) % (10 * i))
        text = random.choice([b",", b", ", b"\t,"]).join(fields)
        text += b"" if fields[-1].strip(BLANKS) else b","
        lines.append(b"rec_%d = " % i + random.choice([text, b'"%s "' % text]))
    random.shuffle(lines)
    return [b"[%s]" % name, *lines, *random.choices(ODD, k=random.choice([0, 0, 1]))]


def random_file():
    """Parts of a section may stand apart."""
    first = random.choice([b"first", b"dump", b"q"])
    lines = random.choices(ODD, k=2) + [b" [ %s ] x" % first]
    lines += random.choices([b"kivid = 7", b"kivid=0", b"kivhost = \" k,'\"", b"a = b",
                             b"kivhost =", b"kivid = -3"], k=random.choice([0, 1, 3]))
    first, second = map(random_section, random.sample(TABLES, 2))
    half = random.randint(1, len(first))
    lines += first[:half] + second + first[:1] + first[half:]
    end = random.choice([b"\n", b"\n", b"\r\n"])
    return random.choice([b"", b"", MARK]) + end.join(lines) + random.choice([b"", end])


def table_of(record, columns=b"|x[int]"):
    return b"[odd]\nschema = id[int]%s\nrec_1 = %s" % (columns, record)


# Limits, as far as is allowed and one beyond it, and what stands at the edge.
LONG = b"1, " + b"v" * 2000 + b"," + b"v" * 1939
EXTRAS = [
    table_of(b"1," + b"v" * 2047), table_of(b"1," + b"v" * 2048),
    table_of(b"7" * 2047 + b",1"), table_of(b"7" * 2048 + b",1"),
    *(table_of(b"%s%s,{{$kivversion}}%s" % (LONG, pad, NAMES[2] * 9), b"|x[int]" * 3)
      for pad in (b"", b"v", b"vv")),
    *(table_of(LONG + pad + NAMES[0] * 15, b"|x[int]|y[int]")
      for pad in (b"", b"v" * 3)),
    table_of(NAMES[1] * 2 + b"," + NAMES[1] * 2), table_of(b"1," + NAMES[1] * 3),
    table_of(b"1, a|b"), table_of(b"1|2, a"), table_of(b"1,"), table_of(b"1,2,3"),
    *(table_of(b"-922337203685477580%d, 1\nrec_2 = 92233720368547758%02d, 2" % pair)
      for pair in ((8, 6), (9, 8))),
    table_of(b"1,2\nrec_2 = 01,3"), table_of(b"1,2\nrec_2 = 4294967297,3"),
    table_of(b"1,2\nrec_3 = 3,3"), table_of(b"1,2\nrec_2 =\nrec_3 = 3,3"),
    table_of(b"1,2\nrec_02 = 2,2"), table_of(b"\nrec_1 = 1,2"), table_of(b"1", b""),
    table_of(b"1,2\nrec_0 = 2,2"), table_of(b"1,2,3", b"|x[int]|x[int]"),
    table_of(b'"1, "2"'), table_of(b'1, a"b,,', b"|x[int]|y[int]"),
    table_of(b"1,2\nrec_1 = 7"), table_of(b"", b"|x"), table_of(b"1,2", b"|x[text]"),
    b"[bad", b"[]", b"[ ] x", b"x\0", b"[odd]", b"[odd]\nschema =", b"[odd]\nschema=x",
    *(b"[%s]\nschema = id[int]" % name for name in
      (b"n" * 255, b"n" * 256, b".", b"..", b"a/b", b"a.ADD", b"n.tmp")),
    *(b"[odd]\nschema = id[int]" + b"x" * size for size in (2040, 2041))]
PLAIN = b"[f]\n[t]\nschema = id[int]|x[int]\nrec_1 = 1, {{$kivid}}\n"


def main():
    kivdb, hand = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    random.seed(int(sys.argv[4]))
    whole = [b"", b"\n", MARK, b"a = b", MARK + b"[f]", b"\n" + MARK + b"[f]", b"[f]",
             *(b"[f]\nkivid = " + text for text in (b"007", b"x", b"", b"2147483648")),
             *(b"[f]\nkivhost = " + b"k" * size for size in (1023, 1024))]
    cases = [(text, None, None) for text in whole]
    cases += [(PLAIN + extra, -5, b"h" * 1023) for extra in EXTRAS]
    cases += [(random_file(), random.choice([None, None, 0, -5, 2147483647]),
               random.choice(HOSTS)) for _ in range(int(sys.argv[3]))]

    def try_one(case):
        with tempfile.TemporaryDirectory() as work:
            try:
                return check(kivdb, hand, os.fsencode(work), *case)
            except Exception as error:
                raise AssertionError(f"of the file {case}") from error

    # What takes the time is waiting for the disk.
    with ThreadPoolExecutor(4) as pool:
        made = sum(pool.map(try_one, cases))
    print(f"{made} of {len(cases)} files made a database")


main()
