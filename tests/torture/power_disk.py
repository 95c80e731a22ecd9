"""File systems on a disk that is cut off."""
import contextlib
import ctypes
import os
import re
import shutil
import struct
import subprocess

from common import call, read_file, run, wait_until

NEW_MOUNTS = 0x20000
HEAD = struct.Struct("=QQ")  # of what disk.cc keeps
EXT4 = ["mkfs.ext4", "-q", "-F", "-b", "4096", "-N", "1024", "-J", "size=4", "-E",
        "lazy_itable_init=0,lazy_journal_init=0"]
SYSTEMS = {  # type, MiB, how it is made, options
    "ext4 ordered": ("ext4", 16, EXT4, ""),
    "ext4 writeback": ("ext4", 16, EXT4, ",data=writeback,noauto_da_alloc"),
    "ext4 journal": ("ext4", 16, EXT4, ",data=journal"),
    "xfs": ("xfs", 300, ["mkfs.xfs", "-q", "-f"], ""),
    "btrfs": ("btrfs", 128, ["mkfs.btrfs", "-q", "-f"], ",nodiscard")}
# How one tells that it cannot read what is there.
REFUSED = re.compile("wrong fs type|can't read superblock|Input/output error|"
                     "Structure needs cleaning|Bad message")


def separate_mounts():
    """They end with this process and what it has started."""
    assert ctypes.CDLL(None).unshare(NEW_MOUNTS) == 0
    run(["mount", "--make-rprivate", "/"])


def missing(system, disk):
    """What it takes and is not there."""
    needed = [disk or "fuse3", "/dev/fuse", "/dev/loop-control", SYSTEMS[system][2][0]]
    return "root" if os.geteuid() else next(
        (n for n in needed if not (shutil.which(n) or os.path.exists(n))), None)


@contextlib.contextmanager
def mounted(image, system, top):
    kind, _, _, options = SYSTEMS[system]
    status, _, reason = call(["mount", "-t", kind, "-o", "loop,noatime" + options,
                              image, top], env=os.environ | {"LC_ALL": "C"})
    if status != 0:
        raise OSError(reason.decode())
    try:
        yield
    finally:
        run(["umount", top])
        if kind == "btrfs":
            run(["btrfs", "device", "scan", "--forget"])


class Disk:
    """It is recorded, mounted at top; its clock is the size of the log."""

    def __init__(self, system, program, work):
        self.system, self.program, self.events = system, program, []
        self.base, self.log, self.top, self.image, self.served = (
            f"{work}/{name}" for name in ("base", "log", "top", "image", "served"))

    @contextlib.contextmanager
    def recorded(self):
        _, size, make, _ = SYSTEMS[self.system]
        with open(self.base, "wb") as file:
            file.truncate(size << 20)
        run([*make, self.base])
        run(["fallocate", "--dig-holes", self.base])
        run(["cp", self.base, self.image])
        os.mkdir(self.served)
        os.mkdir(self.top)
        with subprocess.Popen([self.program, self.image, self.log, "-f", "-s",
                               self.served], process_group=0) as server:
            try:
                wait_until(lambda: os.path.exists(self.served + "/disk"))
                with mounted(self.served + "/disk", self.system, self.top):
                    yield
            finally:
                call(["umount", "--lazy", self.served])
                server.wait(20)
        log, at = memoryview(read_file(self.log)), 0
        while at < len(log):
            place, size = HEAD.unpack_from(log, at)
            begin, at = at + HEAD.size, at + HEAD.size + size
            self.events.append((at, place, log[begin:at]))

    def clock(self, _):
        return os.stat(self.log).st_size

    def times(self, begin, end):
        return [time for time, _, _ in self.events if begin < time <= end]

    @contextlib.contextmanager
    def left(self, cut, pick):
        """Some of the writes behind the last flush are missing; tells which."""
        done = [event for event in self.events if event[0] <= cut]
        flushed = max((i + 1 for i, event in enumerate(done) if not event[2]), default=0)
        late, way, kept = done[flushed:], "none", []
        if late:
            one, part, unit = pick.choice(late), pick.random(), pick.choice([512, 4096])
            some = [event for event in late if pick.random() < part]
            pieces = [(0, one[1] + at, one[2][at:at + unit])
                      for at in range(0, len(one[2]), unit) if pick.random() < 0.5]
            way, kept = pick.choice([
                ("all", late), ("none", []), ("one", [one]), ("part", some),
                ("all but one", [event for event in late if event is not one]),
                ("torn", some + pieces)])
        run(["cp", "--remove-destination", self.base, self.image])
        with open(self.image, "rb+", buffering=0) as file:
            for _, place, data in done[:flushed] + kept:
                os.pwrite(file.fileno(), data, place)
        with mounted(self.image, self.system, self.top):
            yield f"{way} of {len(late)} late writes"
