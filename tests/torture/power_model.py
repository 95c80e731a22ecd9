"""A file system in which names reach the disk in order, and data when it is forced."""
import contextlib
import os
import re
import shutil

from common import write_file

LINE = re.compile(r"^\d+\t(\w+)\t(.*)\t(.*)$", re.MULTILINE)
WAYS = ("whole", "missing", "half", "zeros")  # what is there of data not forced


class File:
    def __init__(self, way):
        self.forced = self.data = b""
        self.way = way

    def on_disk(self):
        half = self.data[:len(self.data) // 2]
        return self.forced if self.data == self.forced else {
            "whole": self.data, "missing": self.forced, "half": half,
            "zeros": half.ljust(len(self.data), b"\0")}[self.way]


class ModelDisk:
    """The calls of the programs that run below top; its clock is their number."""

    def __init__(self, work):
        self.top, self.calls = os.path.realpath(work) + "/top", []

    @contextlib.contextmanager
    def recorded(self):
        os.mkdir(self.top)
        yield

    def clock(self, errors):
        """After a program that wrote them."""
        for call, path, to in LINE.findall(errors.decode(errors="replace")):
            self.calls.append((call, self._own(path),
                               self._own(to) if call == "rename" else to))
        return len(self.calls)

    def times(self, begin, end):
        return range(begin + 1, end + 1)

    def _own(self, path):
        return os.path.relpath(os.path.join(self.top, path), self.top)

    @contextlib.contextmanager
    def left(self, cut, pick):
        """The tree after a cut before that call: of the names behind the last sync
        only the first ones, and of the data that was not forced what chance leaves."""
        syncs = [i + 1 for i in range(cut) if self.calls[i][0] == "fsync"]
        kept, way = pick.randint(max(syncs, default=0), cut), pick.choice(WAYS + ("",))
        tree = live = {}
        for i, call in enumerate(self.calls[:cut]):
            if i == kept:
                tree = dict(live)
            self._change(live, *call, way or pick.choice(WAYS))
        shutil.rmtree(self.top)
        os.mkdir(self.top)
        for path, file in sorted(tree.items()):
            if file is None:
                os.mkdir(f"{self.top}/{path}")
            else:
                write_file(f"{self.top}/{path}", file.on_disk())
        yield f"{way or 'mixed'} data"

    @staticmethod
    def _change(live, call, path, to, way):
        file, below = live.get(path), [n for n in live if n.startswith(path + "/")]
        if call == "fsync" and file:
            file.forced = file.data
        elif call == "write" and file:
            file.data += bytes.fromhex(to)
        elif call in ("mkdir", "open") and path not in live:
            if os.path.dirname(path) in ("", *live):
                live[path] = File(way) if call == "open" else None
        elif call == "open" and to:
            file.data, file.way = b"", way
        elif call == "unlink" and not below:
            live.pop(path, None)
        elif call == "rename" and path in live and live.get(to, "") is not None:
            for name in [path, *below]:
                live[to + name[len(path):]] = live.pop(name)
