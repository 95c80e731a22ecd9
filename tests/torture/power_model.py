"""A file system in which names reach the disk in order, and data when it is forced."""
import os
import re
import shutil

from common import read_file, write_file

LINE = re.compile(r"\d+\t(fsync|open|write|half of a write|rename|unlink|rmdir|mkdir|"
                  r"mkdtemp)\t([^\t]*)\t([^\t]*)")
WAYS = ("whole", "missing", "half", "zeros")  # what is there of data not forced


class File:
    def __init__(self, data=b"", way="whole"):
        self.forced, self.data, self.way = data, data, way

    def on_disk(self):
        half = self.data[:len(self.data) // 2]
        return self.forced if self.data == self.forced else {
            "whole": self.data, "missing": self.forced, "half": half,
            "zeros": half.ljust(len(self.data), b"\0")}[self.way]


class ModelDisk:
    """The calls of the programs that run below top; its clock is their number."""

    def __init__(self, top):
        self.top, self.calls, self.start = os.path.realpath(top), [], {}

    def begin(self):
        for path, directories, files in os.walk(self.top):
            self.start |= {self._own(f"{path}/{name}"): None for name in directories}
            self.start |= {self._own(f"{path}/{name}"): read_file(f"{path}/{name}")
                           for name in files}

    def clock(self):
        return len(self.calls)

    def times(self, begin, end):
        return range(begin + 1, end + 1)

    def environment(self, _):
        return {"KIVDB_NAMES": "1"}

    def _own(self, path):
        return os.path.relpath(os.path.join(self.top, path), self.top)

    def took(self, errors):
        for match in map(LINE.fullmatch, errors.decode(errors="replace").splitlines()):
            if match:
                call, path, to = match.groups()
                self.calls.append((call, self._own(path),
                                   self._own(to) if call == "rename" else to))

    def make(self, image, cut, pick):
        """The tree after a cut before that call: of the names behind the last sync
        only the first ones, and of the data that was not forced what chance leaves."""
        syncs = [i + 1 for i in range(cut) if self.calls[i][0] == "fsync"]
        kept, way = pick.randint(max(syncs, default=0), cut), pick.choice(WAYS + ("",))
        tree = live = {path: data if data is None else File(data)
                       for path, data in self.start.items()}
        for i, call in enumerate(self.calls[:cut]):
            if i == kept:
                tree = dict(live)
            self._change(live, *call, way or pick.choice(WAYS))
        shutil.rmtree(image, ignore_errors=True)
        os.mkdir(image)
        for path, file in sorted(tree.items()):
            if file is None:
                os.mkdir(f"{image}/{path}")
            else:
                write_file(f"{image}/{path}", file.on_disk())

    @staticmethod
    def _change(live, call, path, to, way):
        file, below = live.get(path), [n for n in live if n.startswith(path + "/")]
        if call == "fsync" and file:
            file.forced = file.data
        elif "write" in call and file:
            file.data += bytes.fromhex(to)
        elif call in ("mkdir", "mkdtemp", "open") and path not in live:
            if os.path.dirname(path) in ("", *live):
                live[path] = File(way=way) if call == "open" else None
        elif call == "open" and to:
            file.data, file.way = b"", way
        elif call == "unlink" or call == "rmdir" and not below:
            live.pop(path, None)
        elif call == "rename" and path in live and live.get(to, "") is not None:
            for name in [path, *below]:
                live[to + name[len(path):]] = live.pop(name)
