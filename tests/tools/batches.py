#!/usr/bin/env python3
"""Random batches: batches.py KIVDB COUNT SEED

shlex judges the quotes, and the commands by themselves do what their lines must do.
"""
import os
import random
import shlex
import shutil
import sys
import tempfile

from common import call, make_table, read_table

KIVDB = os.path.abspath(sys.argv[1])
TABLES = ["t", "u 'v"]
IDS = ["1", "2", "3", "4", "5", "6", "8", "-2", "-3"]
PIECES = ["a", "7", " ", "\t", "\n", "\r", "'", '"', "\\", "\\\n", "$x", "`", "#", "*",
          "=", ",", "|", ";", "\u00e9", "\u2028", "\udcff"]


def random_value():
    if random.random() < 0.03:
        return "," * random.choice([511, 512])
    return "".join(random.choices(PIECES, k=random.choice([0, 1, 2, 4])))


def random_line():
    """The words of a command; --where may meet a record as it was made."""
    table, number = random.choice(TABLES), random.choice(IDS)
    pairs = [column + "=" + random.choice([made, random_value()])
             for column, made in random.sample([("a", "a"), ("b", number)],
                                               random.choice([1, 1, 2]))]
    options = random.choice([["--id", number], [], ["--max", random.choice("379")]])
    return random.choice([
        ["add", *random.choice([[], ["--replace"]]), table, *pairs, *options],
        ["set", table, number, *pairs], ["delete", table, "--where", *pairs],
        ["delete", *random.choice([[], ["--force"]]), table, *random.choices(IDS, k=2)]])


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


def make_root(root):
    for name in TABLES:
        ids = random.sample(["1", "2", "5", "-2"], random.randint(1, 3))
        files = {number: b"\\x61|%s|" % number.encode() for number in ids}
        files |= {random.choice("146") + ".tmp": b"left|7|" for _ in range(2)}
        make_table(root, name, files, b"id[int]|a[varchar]|b[varchar]")


def read_root(root):
    return {name: read_table(f"{root}/kiv/database/{name}") for name in TABLES}


def check_batch(work):
    batch, single = work + "/batch", work + "/single"
    make_root(batch)
    shutil.copytree(batch, single)
    before, texts, results, refused = read_root(batch), [], [], []
    count = random.randint(5, 15)
    while len(texts) < count or not refused:
        words, known = random_line(), read_root(single)
        status, out, _ = call([KIVDB, "-r", single, *words])
        if status == 0:
            noise = random.choice(["", "", "\n", "# ' \\\n", " \t#\"\r\n"])
            texts.append(noise + write_line(words))
            results.append(out)
        else:
            refused.append((len(texts), write_line(words), status))
            assert read_root(single) == known, (words, known)
    place, fault, status = random.choice(refused)
    known = (texts, place, fault, before)

    def run_batch(texts, *options):
        return call([KIVDB, "-r", batch, "batch", *options],
                    input="".join(texts).encode("utf8", "surrogateescape"))

    done = run_batch([*texts[:place], fault, *texts[place:]])
    at = b"kivdb: standard input:%d: " % ("".join(texts[:place]).count("\n") + 1)
    # What a command refuses as wrong is to a batch wrong in its text.
    assert done[0] in (1, status) and not done[1] and done[2], (known, done)
    assert all(line.startswith(at) for line in done[2].splitlines()), (known, done)
    foretold = run_batch(texts, "--dry-run")
    assert read_root(batch) == before, known
    difference = call([KIVDB, "-r", batch, "diff", single])
    assert foretold == (0, *difference[1:]), (known, foretold, difference)
    done = run_batch(texts)
    assert done == (0, b"".join(results), b""), (known, results, done)
    assert read_root(batch) == read_root(single), (known, read_root(batch))
    return len(texts)


def main():
    random.seed(int(sys.argv[3]))
    count = 0
    for _ in range(int(sys.argv[2])):
        with tempfile.TemporaryDirectory() as work:
            count += check_batch(work)
    print(count, "lines")


main()
