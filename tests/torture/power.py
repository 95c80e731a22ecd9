#!/usr/bin/env python3
"""Cuts the power while databases change: power.py KIVDB HAND PRELOAD [DISK] [OPTION ...]

PRELOAD sets the variable that loads the library of stop_at.cc, DISK is the program of
disk.cc.  What each cut leaves is mounted and compared with docs/format.md, and so is
what a model of a file system leaves.
"""
import argparse
import contextlib
import errno
import os
import random
import signal
import sys
import tempfile
import time

sys.path.insert(1, os.path.join(os.path.dirname(__file__), "../tools"))
# pylint: disable=wrong-import-position
from power_disk import SYSTEMS, Disk, Images, missing, mounted, separate_mounts
from power_model import ModelDisk
from power_verdict import Verdict
from power_world import PLANTS, Tools, World

STEPS, PLANT_STEPS, PLANT_ROUNDS, CUTS = 24, 12, 12, 4
REFUSED = (errno.EIO, errno.EUCLEAN, errno.EINVAL, errno.EBADMSG)


class Run:
    """Rounds of one kind; a plant's ends with the first fault."""

    def __init__(self, what, options, work, plant=None, end=None):
        self.what, self.options, self.work, self.plant = what, options, work, plant
        self.tools = Tools(options, work)
        self.cases = self.faults = self.refused = self.operations = 0
        rounds = PLANT_ROUNDS if plant else 10**9
        for seed in range(options.seed, options.seed + rounds):
            if plant and self.faults or seed > options.seed and end and \
                    time.monotonic() > end:
                break
            self.end = None if plant or seed == options.seed else end
            self.known, self.seed, self.pick = set(), seed, random.Random(seed)
            with tempfile.TemporaryDirectory(dir=work) as place:
                try:
                    (self._real if what in SYSTEMS else self._model)(place)
                except AssertionError as fault:
                    if plant:  # which changes what is left, not what is told
                        raise
                    self._fault(*fault.args)

    def _fault(self, *what):
        self.faults += 1
        if not self.plant:
            print(f"{self.what}, seed {self.seed}:",
                  *(str(text)[:300] for text in what), file=sys.stderr)

    def tell(self):
        refused = f"{self.refused} images refused by the file system, "
        print(f"power cuts, {self.what}", self.cases, self.faults,
              f"{refused if self.what in SYSTEMS else ''}{self.operations} operations",
              sep="\t", flush=True)

    def _change(self, disk, took=lambda errors: None):
        world = World(disk, self.tools, self.seed, self.plant, took)
        for _ in range(PLANT_STEPS if self.plant else STEPS):
            world.step()
        self.operations += len(world.operations)
        return world

    def _cuts(self, world, times):
        """The end of each operation, and times in it."""
        for operation in world.operations:
            inside = times(operation.begin, operation.end)
            cuts = {operation.end, *self.pick.choices(inside, k=CUTS - 1)} \
                if inside else ()
            for cut in sorted(cuts):
                if self.plant and self.faults or self.end and \
                        time.monotonic() > self.end:
                    return
                yield cut

    def _judge(self, world, cut, top, how):
        verdict = Verdict(world, top, cut)
        try:
            if (case := verdict.case()) not in self.known:
                verdict.judge()
                self.known.add(case)
        except AssertionError as fault:
            self._fault(f"cut at {cut}{how} in", verdict.operation and
                        verdict.operation.words, *fault.args)
        self.cases += 1

    def _model(self, place):
        os.mkdir(place + "/top")
        disk = ModelDisk(place + "/top")
        world = self._change(disk, disk.took)
        for cut in self._cuts(world, disk.times):
            disk.make(place + "/image", cut, self.pick)
            self._judge(world, cut, place + "/image", "")

    def _real(self, place):
        disk = Disk(self.what, place)
        with disk.recorded(self.options.disk):
            world = self._change(disk)
        with contextlib.ExitStack() as stack:
            images = Images(disk, self.pick, stack)
            for cut in self._cuts(world, images.times):
                how = images.make(cut)
                try:
                    with mounted(images.device, self.what, disk.top):
                        self._judge(world, cut, disk.top, f" with {how} late writes")
                except OSError as error:
                    if error.errno not in REFUSED:
                        raise
                    self.refused += 1


def find_plants(what, options, work):
    runs = [Run(what, options, work, plant) for plant in PLANTS]
    lost = [run.plant for run in runs if not run.faults]
    print(f"planted orders found, {what}", len(runs), len(lost), ", ".join(lost),
          sep="\t", flush=True)
    return len(lost)


def main():
    parser = argparse.ArgumentParser()
    for name in ("kivdb", "hand", "preload"):
        parser.add_argument(name)
    parser.add_argument("disk", nargs="?")
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", choices=["model", *SYSTEMS], help="and no plants")
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    end, faults = time.monotonic() + options.seconds, 0
    lacks = {what: what in SYSTEMS and missing(what, options.disk)
             for what in ([options.only] if options.only else ["model", *SYSTEMS])}
    there = [what for what in lacks if not lacks[what]]
    if {*there} - {"model"}:
        separate_mounts()
    place = "/dev/shm" if os.path.isdir("/dev/shm") else None
    with tempfile.TemporaryDirectory(dir=place) as work:
        for what in ("model", "ext4 writeback"):
            if not options.only and what in there:
                faults += find_plants(what, options, work)
        for what, lack in lacks.items():
            if lack:
                print(f"power cuts, {what}", 0, 0, f"left out without {lack}", sep="\t")
                continue
            now = time.monotonic()
            left = there[there.index(what):]
            run = Run(what, options, work, end=now + (end - now) / len(left))
            run.tell()
            faults += run.faults
    sys.exit(faults > 0)


main()
