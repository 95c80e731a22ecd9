#!/usr/bin/env python3
"""How much stack the public operations take: stack.py DIRECTORY

That is a build with g++'s -fcallgraph-info=su.  Its file seen.tsv has the operations
to tell of, with the bytes that bench/stack.cc saw.  Prints a table, and into
chains.txt in the directory of which frames the deepest chains consist.

A chain is one of calls within the libraries; what it calls of others counts as
nothing.  An indirect call and a recursion that are not known here end the program.
"""
import pathlib
import re
import subprocess
import sys

# What an indirect call in these files may reach; None: nothing of the libraries.
INDIRECT = {"shared_ptr_base.h": "_Sp_counted", "std_function.h": "_Function_handler",
            "recover.cc": "IsMarker|CTable5clear.*_FUN",
            "upgrade.cc": "^_ZNK?5KivDB13CTableUpgrade", "pthread.h": "UnlockMutex",
            "table.cc": None,  # what() of an exception
            "log.cc": None}    # the sink
# Of the standard library's sorting and trees, which go as deep as twice the
# logarithm of what they hold: here, of a million.
RECURSION = 40
NODE = re.compile(r'node: \{ title: "(.*?)" label: "(.*?)"(?: shape : ellipse)? \}')
EDGE = re.compile(r'edge: \{ sourcename: "(.*?)" targetname: "(.*?)"(?: label: "(.*?)")? \}')
FRAME = re.compile(r"\\n(\d+) bytes \((.*?)\)")


class CGraph:
    def __init__(self, directory):
        self.frames, self.calls, self.deepest = {}, {}, {}
        edges = []
        for file in pathlib.Path(directory, "CMakeFiles").rglob("*.ci"):
            text = file.read_text(encoding="utf-8")
            for title, label in NODE.findall(text):
                frame = FRAME.search(label)
                if frame:
                    assert frame[2] in ("static", "dynamic,bounded"), label
                    self.frames[title] = max(int(frame[1]), self.frames.get(title, 0))
            edges += EDGE.findall(text)
        assert self.frames, f"no graph below {directory}"
        self.names = dict(zip(self.frames, demangled(self.frames)))
        for source, target, place in edges:
            self.calls.setdefault(source, set()).update(self.targets(target, place))
        self.find_deepest()

    def targets(self, target, place):
        if target == "__indirect_call":
            pattern = INDIRECT[pathlib.Path(place.split(":")[0]).name]
            found = [t for t in self.frames if pattern and re.search(pattern, t)]
            assert found or not pattern, place
            return found
        names = [target, re.sub(r"([CD])1(?=[EI])", r"\g<1>2", target)]
        if target.endswith(".localalias"):
            names.append(target.removesuffix(".localalias").rpartition(":")[2])
        found = [name for name in names if name in self.frames][:1]
        assert found or not re.search("^/|KivDB", target), f"unknown: {target}"
        return found

    def find_deepest(self):
        """Tarjan's components; each ends after those that it calls."""
        number, low, stack = {}, {}, []

        def visit(title):
            number[title] = low[title] = len(number)
            stack.append(title)
            for other in self.calls.get(title, ()):
                if other not in number:
                    visit(other)
                if other in stack:
                    low[title] = min(low[title], low[other])
            if low[title] == number[title]:
                at = stack.index(title)
                self.close(stack[at:])
                del stack[at:]

        for title in self.frames:
            if title not in number:
                visit(title)

    def close(self, component):
        """Sets the deepest chain: (bytes, [(bytes, function), ...])."""
        called = {t for title in component for t in self.calls.get(title, ())}
        below = max((self.deepest[t] for t in called - {*component}), default=(0, []))
        size = sum(self.frames[t] for t in component)
        if called & {*component}:
            assert all("std::" in self.names[t] for t in component), component
            size *= RECURSION
        own = (size, self.names[component[0]])
        for title in component:
            self.deepest[title] = (size + below[0], [own, *below[1]])

    def operation(self, name):
        """The deepest chain of all overloads."""
        return max(self.deepest[title] for title, label in self.names.items()
                   if title.startswith("_ZN") and label.startswith(f"KivDB::{name}("))


def demangled(titles):
    """Of a local function without the file that stands in front."""
    names = [title.rpartition(":")[2] for title in titles]
    return subprocess.run(["c++filt"], input="\n".join(names), text=True, check=True,
                          capture_output=True).stdout.splitlines()


def main():
    directory = sys.argv[1]
    graph = CGraph(directory)
    print("| KiB of stack | own frames | seen |\n|---|---|---|")
    with open(directory + "/chains.txt", "w", encoding="utf-8") as chains:
        for line in open(directory + "/seen.tsv", encoding="utf-8"):
            operation, seen = line.split("\t")
            size, chain = graph.operation(operation)
            frames = [f"{count} {function}" for count, function in chain]
            print(f"{operation} {size}", *frames, sep="\n  ", file=chains)
            print(f"| `{operation}` | {size / 1024:.1f} | {int(seen) / 1024:.1f} |")


main()
