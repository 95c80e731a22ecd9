#!/usr/bin/env python3
"""Upgrades of what its owner changed: upgrades.py KIVDB COUNT SEED

Cases of the three-way merge, then COUNT random databases beside a model of it.
"""
import glob
import os
import random
import re
import shutil
import sys
import tempfile
from types import SimpleNamespace

from common import call, ini, read_file, read_value, run, write_file

KIVDB = os.path.abspath(sys.argv[1])
ENV = os.environ | {"PATH": os.path.dirname(KIVDB) + ":" + os.environ["PATH"],
                    "K": "kivdb -r ../.."}
TAKEN, KEPT = "this id is a record of the owner's", "shipped no more, but changed here"
BAD, TMP = "cannot be read: run check", "a temporary file of it is there: run check"
MOVED = "table [t]: columns change, not only new ones at the end: run kivdb "
# A case is a creation file, and then, once or more often: what the owner did below
# database, the new file, options, the status, the lines, what differs afterwards.
CASES = [
    # All that can be done at once: records; placeholders; bytes; new columns beside
    # the owner's, and without the owner's; tables dropped, new, and there already.
    ('p a b: 1,{{$kivid}},y; 2,{{$kivhost}},y\nq a b: 1,\\x41,"q; "2,\\x2c, "\n'
     'o a b: 1,x,y\nd a b: 1,x,y\ng a: 1,x',
     ("printf 'o|y|' >p/2; chmod 600 p/1; "
      "printf 'A|\\x22q|' >q/1; printf ',|o|' >q/2; mkdir w; printf 'h|' >w/7; "
      "$K migrate o id:int,a:varchar,b:varchar,own:varchar; printf 'x|y|o|' >o/1; "
      "printf 'o|||' >o/2; $K migrate d id:int,b:varchar --force; rm -r g ../schema/g",
      'p a b: 1,{{$kivhost}},{{$kivid}}; 2,{{$kivhost}},y\n'
      'q a b: 1,\\x42,"q; 2,\\x2c\\x20,\\x7c\n'
      'o a b c[int]: 1,p,y,7; 2,k,l,8; "3,k,l, "\nd a b c: 1,p,z,7\n'
      'g a b: 1,y,z; 2,p,q\nw a: 7,{{$kivhost}}\nu a: 7,{{$kivid}}; "8, "', "", 1,
      '~ p/1 a: 3 -> h\n~ p/1 b: y -> 3\n~ q/1 a: A -> B\n'
      '~ q/2 a: , -> ", "\n! q/2 b: shipped "", now |, here o\n+ o.c int\n'
      '~ o/1 a: x -> p\n~ o/1 c: "" -> 7\n+ o/3 a=k b=l own="" c=""\n+ d.c varchar\n'
      '~ d/1 b: y -> z\n~ d/1 c: "" -> 7\n+ w\n+ w/7 a=h\n+ u\n+ u/7 a=3\n+ u/8 a=""\n'
      f"o/2: {TAKEN}",
      "p/1=h|3| q/1=\\x42|\\x22q| q/2=\\x2c\\x20|o| "
      "o=id|a|b|own|c o/1=p|y|o|7| o/2=o|||| o/3=k|l||| d=id|b|c d/1=z|7| w=id|a "
      "u=id|a u/7=3| u/8=|"),
     (">o/3.tmp", "v a: 1,x", "--prune", 1, '+ v\n+ v/1 a=x\n- p/1 a=h b=3\n'
      '- q/1 a=B b="\\"q"\n- d/1 b=z c=7\n- w/7 a=h\n'
      f'- u/7 a=3\n- u/8 a=""\np/2: {KEPT}\nq/2: {KEPT}\no/1: {KEPT}\no/3: {TMP}',
      "p/1 q/1 d/1 w/7 u/7 u/8 v=id|a v/1=x|")),
    # Placeholders that are not known, or cannot stand in a record.
    ("t a b: 1,{{$kivid}},y; 2,x,y",
     ("sed -i /^kiv/d ../base.ini", "t a b: 1,{{$kivid}},y; 2,x,z", "", 0,
      "~ t/2 b: y -> z", "t/2=x|z|"),
     ("", "t a b: 1,{{$kivid}},z; 2,x,y", "", 2,
      "t/1 depends on the id and the host of the database: give both", ""),
     ("", "t a b: 1,{{$kivid}},z; 2,x,y", "--id=3 --host=a|b", 0,
      "~ t/1 b: y -> z\n~ t/2 b: z -> y", "t/1=3|z| t/2=x|y|"),
     ("", "t a b: 2,{{$kivhost}},y", "", 2,
      "new.ini: table [t]: a value with | ends at it: write \\x7c", "")),
    # What has to be repaired first.
    ("t a b: 1,x,y; 2,x,y",
     ("printf x >t/2", "t a b: 1,x,z; 2,x,z", "", 2, f"~ t/1 b: y -> z\nt/2: {BAD}",
      "t/1=x|z|"),
     ("printf 'o|y|' >t/2", "t a b: 1,x,z; 2,x,z", "", 0, "~ t/2 b: y -> z",
      "t/2=o|z|"),
     ("rm t/2; mkfifo t/2", "t a b c: 1,x,y,z; 2,x,y,z", "", 2,
      "t/2: no regular file: run check", ""),
     ("rm t/2; mkdir u; printf 'o|' >u/7", "t a b: 1,x,w\nu a: 7,h", "", 2,
      "a directory without a schema [./kiv/database/u]", "")),
    # Bases, and what is none.
    ("t a b: 1,x,y; 2,x,y",
     ("printf 'o|y|' >t/2; rm ../base.ini", "t a b: 1,x,y; 2,x,y; 3,x,y", "", 1,
      f"+ t/3 a=x b=y\nt/2: {TAKEN}", "t/3=x|y|"),
     ("rm ../base.ini", "t a b: 1,x,z; 2,x,z", "--base=none.ini", 2,
      "none.ini: No such file or directory", ""),
     ("", "t a b: 1,x,z; 2,x,z", "--base=old.ini", 0,
      "~ t/1 b: y -> z\n~ t/2 b: y -> z", "t/1=x|z| t/2=o|z|"),
     ("", "t a b: 1,x,y; 2,x,y", "--base=old.ini", 2,
      "there is a base already [./kiv/base.ini]", ""),
     ("rm ../../new.ini", None, "", 2, "new.ini: No such file or directory", ""),
     ("mkfifo ../../new.ini", None, "", 2, "new.ini: no regular file", ""),
     ("cd ../..; rm new.ini; >new.ini", None, "", 2, "new.ini: no section", ""),
     ("", "t", "", 2, "new.ini: table [t]: damaged schema", "")),
    # Columns that were moved, renamed, dropped, given a type or put between, and the
    # migration that is asked for.
    *((old, (script, new, "", 2, MOVED + words, ""),
       (f"cd ../..; kivdb {words}", new, "", 0, lines, f"t/1={record}"))
      for old, new, script, words, lines, record in [
          ("t a b: 1,x,y", "t b a: 1,z,x", "$K migrate t id:int,a:varchar,b:varchar,"
           "own:varchar; printf 'o|y|w|' >t/1", "migrate t "
           "'id:int,b:varchar,a:varchar,own:varchar'", "~ t/1 b: y -> z", "z|o|w|"),
          ("t a b: 1,x,y", "t a: 1,z", "", "migrate t 'id:int,a:varchar' --force",
           "~ t/1 a: x -> z", "z|"),
          ("t a b: 1,x,7", "t a b[int]: 1,x,8", "",
           "migrate t 'id:int,a:varchar,b:int'", "~ t/1 b: 7 -> 8", "x|8|"),
          ("t a b: 1,x,y", "t a n b: 1,x,w,y", "", "migrate t "
           "'id:int,a:varchar,n:varchar,b:varchar'", '~ t/1 n: "" -> w', "x|w|y|"),
          ("t a b c: 1,x,y,z", "t a c b: 1,w,z,y",
           "$K migrate t id:int,b:varchar,c:varchar --force",
           "migrate t 'id:int,c:varchar,b:varchar'", "", "z|y|")]),
]


def read_tree(root):
    """Records, and of schemas the names of the columns."""
    tree = {}
    kiv = root + "/kiv/"
    for path in glob.glob(kiv + "database/*/*") + glob.glob(kiv + "schema/*"):
        text = read_file(path) if os.path.isfile(path) else b""
        name = re.sub(".*/kiv/(database|schema)/", "", path)
        tree[name] = re.sub(r"\[\w+\]|\n.*", "", text.decode())
    return tree


def stat_tree(root):
    """What any change would change."""
    return {path: (s.st_ino, s.st_mode, s.st_mtime_ns, s.st_ctime_ns)
            for path in [root, *glob.glob(root + "/**", recursive=True)]
            for s in [os.lstat(path)]}


def upgrade(root, words):
    """A dry run, which says the same and does nothing, and the run: (status, lines)."""
    words = [KIVDB, "upgrade", "new.ini", *words]
    stats = stat_tree(root)
    dry = call([*words, "--dry-run"], cwd=root)
    assert stat_tree(root) == stats, ("the dry run changed", words)
    done = status, output, errors = call(words, cwd=root)
    assert dry == done, (words, dry, done)
    assert re.fullmatch(rb"([-+~!] .*\n)*", output), done
    assert re.fullmatch(rb"(kivdb: .*\n)*", errors), done
    return status, (output + errors.replace(b"kivdb: ", b"")).decode().rstrip("\n")


def make(root, old):
    write_file(root + "/old.ini", ini(old))
    run([KIVDB, "create", "old.ini", "--id", "3", "--host", "h"], cwd=root)


def check_case(root, old, *stages):
    make(root, old)
    for script, new, words, status, lines, changes in stages:
        run(["sh", "-ec", script], cwd=root + "/kiv/database", env=ENV)
        if new:
            write_file(root + "/new.ini", ini(new))
        tree, stats, words = read_tree(root), stat_tree(root), words.split()
        assert (got := upgrade(root, words)) == (status, lines), (old, new, got)
        for name, sign, text in (change.partition("=") for change in changes.split()):
            tree[name] = text if sign else None
        tree = {name: text for name, text in tree.items() if text is not None}
        assert read_tree(root) == tree, (old, new, read_tree(root), tree)
        now = stat_tree(root)
        assert status < 2 or changes or now == stats, (old, new)
        assert all(now[path][1] == stats[path][1] for path in {*now} & {*stats})
        words = [word for word in words if status == 2 or "--base" not in word]
        is_left = status == 2 or "--prune" in words or "run check" in lines
        left = re.sub("(?m)^[-+~!] .*\n", "", lines)
        again = (status, left) if is_left else (0, "")
        assert (got := upgrade(root, words)) == again and stat_tree(root) == now, got


VALUES = ["", "x", "y", "\\x78", "\\x2c", "{{$kivid}}", "{{$kivhost}}", "3", "a b"]


def stored(template):
    return template.replace("{{$kivid}}", "3").replace("{{$kivhost}}", "h")


def value(record, column):
    return read_value(stored(record.get(column, "")).encode()).decode()


def merge(i, columns, old, new, here):
    """Takes over what the owner did not change; gives the lines of the rest."""
    for c in (c for c in columns if c in here):
        texts = value(old, c), value(new, c), value(here, c)
        if texts[2] == texts[0]:
            here[c] = new[c] if texts[1] != texts[0] else here[c]
        elif texts[1] not in texts[::2]:
            texts = [t if t and " " not in t else f'"{t}"' for t in texts]
            yield "! t/%d %s: shipped %s, now %s, here %s" % (i, c, *texts)


def predict(model, columns, shipped, prunes):
    """Upgrades the model: records are {column: template}.  (status, what is left)"""
    if model.done == (columns, shipped) and not prunes:
        return 0, []
    added = [c for c in columns if c not in [*model.columns, *model.base_columns]]
    if added and (model.bad or model.tmp):
        return 2, None
    model.columns = model.columns + added
    for record in model.here.values():
        record |= {c: record.get(c, "") for c in model.columns}
    changed, left, base = [], {}, {}
    for i in sorted({*model.base, *shipped}):
        old, new, here = model.base.get(i), shipped.get(i), model.here.get(i)
        base[i] = new or old
        is_same = old and new and all(old.get(c, "") == new[c] for c in columns)
        if is_same or not new and not prunes:
            continue
        if i in model.bad:
            left[i] = BAD
        elif here is None:
            base[i] = new
            if i in model.tmp:
                left[i] = TMP
            elif not old:
                model.here[i] = {c: new.get(c, "") for c in model.columns}
        elif old and new:
            changed += merge(i, columns, old, new, here)
        elif any(value(here, c) != value(old or new, c) for c in here
                 if old or c in new):
            left[i] = KEPT if old else TAKEN
        elif old and i in model.tmp:
            left[i] = TMP
        elif old:
            del model.here[i], base[i]
        if i in left:
            base[i] = old
    if TMP not in left.values():
        model.base, model.base_columns = {i: r for i, r in base.items() if r}, columns
        is_done = TAKEN in left.values() and BAD not in left.values()
        model.done = (columns, shipped) if is_done else None
    status = 2 if BAD in left.values() else int(bool(left or changed))
    return status, changed + [f"t/{i}: {reason}" for i, reason in left.items()]


def random_record(columns):
    return {c: random.choice(VALUES) for c in columns}


def release(before, columns):
    """What a next one may ship."""
    records = {i: random_record(columns) for i in range(1, 9) if random.random() < 0.6}
    for i in [i for i in before if random.random() < 0.8]:
        keeps = [c for c in columns if c in before[i] and random.random() < 0.7]
        records[i] = random_record(columns) | {c: before[i][c] for c in keeps}
    records = {i: records[i] for i in sorted(records) if random.random() < 0.9}
    lines = [f'"{i},{",".join(r[c] for c in columns)} "' for i, r in records.items()]
    return records, f"t {' '.join(columns)}: " + "; ".join(lines)


def tree_of(model):
    tree = {f"t/{i}": "".join(stored(r[c]) + "|" for c in model.columns)
            for i, r in model.here.items()}
    tree |= {f"t/{i}": "" for i in model.bad} | {f"t/{i}.tmp": "" for i in model.tmp}
    return tree | {"t": "|".join(["id", *model.columns])}


def own(root, model):
    """What the owner does, to the model and then to the files."""
    model.bad, model.tmp = set(), set()
    if random.random() < 0.3:
        gone = random.choice([*model.columns, None])
        columns = [c for c in model.columns if c not in (gone, "own")]
        model.columns = columns + ["own"]
    for i in range(1, 9):
        what = random.choice(["keep"] * 3 + ["value", "gone", "new"])
        if random.random() < model.harm:
            harmed = random.choice([model.bad, model.tmp])
            harmed.add(i)
            what = "keep" if harmed is model.tmp and random.random() < 0.5 else ""
        if i in model.here and what in ("keep", "value"):
            model.here[i] = {c: model.here[i].get(c, "") for c in model.columns}
            if what == "value":
                model.here[i][random.choice(model.columns)] = random.choice(VALUES)
        else:
            model.here.pop(i, None)
        if what == "new":
            model.here[i] = random_record(model.columns)
    shutil.rmtree(root + "/kiv/database/t")
    os.mkdir(root + "/kiv/database/t")
    for name, text in tree_of(model).items():
        if name != "t":
            write_file(root + "/kiv/database/" + name, text.encode())
    line = "|".join(["id[int]", *[c + "[varchar]" for c in model.columns]])
    write_file(root + "/kiv/schema/t", line.encode())


def check_random(root):
    columns = ["a", "b"]
    shipped, text = release({}, columns)
    make(root, text)
    model = SimpleNamespace(
        base=shipped, base_columns=columns, columns=columns, done=None,
        here={i: dict(r) for i, r in shipped.items()}, harm=random.choice([0, 0, 0.1]))
    for column in "c", "d":
        own(root, model)
        columns = columns + [column] * (random.random() < 0.4)
        shipped, text = release(shipped, columns)
        write_file(root + "/new.ini", ini(text))
        for _ in range(random.randint(1, 2)):
            prunes = random.random() < 0.3
            status, left = predict(model, columns, shipped, prunes)
            got = upgrade(root, ["--prune"] * prunes)
            lines = re.findall("(?m)^[^-+~].*", got[1])
            assert got[0] == status and left in (lines, None), (got, status, left)
            assert read_tree(root) == tree_of(model), (read_tree(root), tree_of(model))


def main():
    count, seed = int(sys.argv[2]), int(sys.argv[3])
    random.seed(seed)
    checks = [(check_case, *case) for case in CASES]
    for check, *words in checks + [(check_random,)] * count:
        with tempfile.TemporaryDirectory() as root:
            check(root, *words)
    print(f"{len(checks)} cases, {count} random databases")


main()
