#!/usr/bin/env python3
"""Cuts the power while databases change: power.py KIVDB HAND PRELOAD [DISK] [OPTION ...]

PRELOAD sets the variable that loads the library of stop_at.cc, DISK is the program of
disk.cc.  What each cut leaves is mounted and compared with docs/format.md, and so is
what a model of a file system leaves.
"""
import argparse
import math
import os
import random
import signal
import sys
import tempfile
import time

sys.path.insert(1, os.path.join(os.path.dirname(__file__), "../tools"))
# pylint: disable=wrong-import-position
from power_disk import REFUSED, SYSTEMS, Disk, missing, separate_mounts
from power_model import ModelDisk
from power_verdict import Fault, judge
from power_world import PLANTS, World

STEPS, PLANT_STEPS, PLANT_ROUNDS, CUTS = 24, 12, 12, 4
PLACE = "/dev/shm" if os.path.isdir("/dev/shm") else None


class Run:
    """Rounds of one kind; with a plant, the first fault ends them all."""

    def __init__(self, what, options, plant=""):
        self.what, self.options, self.plant = what, options, plant
        self.cases = self.faults = self.refused = self.operations = 0

    def play(self, seed, end=math.inf):
        pick = random.Random(seed)
        with tempfile.TemporaryDirectory(dir=PLACE) as place:
            try:
                is_real = self.what in SYSTEMS
                disk = Disk(self.what, self.options.disk, place) if is_real \
                    else ModelDisk(place)
                with disk.recorded():
                    world = World(disk, self.options, seed, self.plant)
                    for _ in range(PLANT_STEPS if self.plant else STEPS):
                        world.step()
                self.operations += len(world.operations)
                for cut in self._cuts(world, pick):
                    if time.monotonic() > end:
                        break
                    self._try(world, cut, pick)
            except AssertionError as fault:
                if self.plant:  # which changes what is left, not what is told
                    raise
                self._fault(seed, *fault.args)

    def _cuts(self, world, pick):
        """The end of each operation, and times in it."""
        for operation in world.operations:
            inside = world.disk.times(operation.begin, operation.end)
            if inside:
                yield from sorted({operation.end, *pick.choices(inside, k=CUTS - 1)})

    def _try(self, world, cut, pick):
        try:
            with world.disk.left(cut, pick) as how:
                self.cases += 1
                try:
                    judge(world, cut)
                except Fault as fault:
                    if self.plant:
                        raise
                    self._fault(world.seed, f"cut at {cut} with {how} in",
                                world.at(cut).words, *fault.args)
        except OSError as error:
            if not REFUSED.search(str(error)):
                raise
            self.refused += 1

    def _fault(self, seed, *what):
        self.faults += 1
        print(f"{self.what}, seed {seed}:", *(str(text)[-500:] for text in what),
              file=sys.stderr)

    def tell(self):
        refused = f"{self.refused} images refused by the file system, "
        print(f"power cuts, {self.what}", self.cases, self.faults,
              f"{refused if self.what in SYSTEMS else ''}{self.operations} operations",
              sep="\t", flush=True)


def is_found(run):
    try:
        for number in range(PLANT_ROUNDS):
            run.play(run.options.seed + number)
    except Fault:
        return True
    return False


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kivdb", type=os.path.abspath)
    parser.add_argument("hand", type=os.path.abspath)
    parser.add_argument("preload")
    parser.add_argument("disk", nargs="?")
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    end, faults = time.monotonic() + options.seconds, 0
    lacks = {what: missing(what, options.disk) for what in SYSTEMS}
    there = ["model", *(what for what in SYSTEMS if not lacks[what])]
    if there[1:]:
        separate_mounts()
    for what in filter(there.count, ("model", "ext4 writeback")):
        lost = [plant for plant in PLANTS if not is_found(Run(what, options, plant))]
        print(f"planted orders found, {what}", len(PLANTS), len(lost), ", ".join(lost),
              sep="\t", flush=True)
        faults += len(lost)
    for i, what in enumerate(there):
        now, seed, run = time.monotonic(), options.seed, Run(what, options)
        until = now + (end - now) / (len(there) - i)
        run.play(seed)
        while time.monotonic() < until:
            run.play(seed := seed + 1, until)
        run.tell()
        faults += run.faults
    for what in filter(lacks.get, lacks):
        print(f"power cuts, {what}", 0, 0, f"left out without {lacks[what]}", sep="\t")
    sys.exit(faults > 0)


main()
