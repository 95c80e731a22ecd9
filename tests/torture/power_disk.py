"""File systems on a disk that is cut off."""
import contextlib
import ctypes
import fcntl
import os
import shutil
import struct
import subprocess

from common import run, wait_until

LIBC = ctypes.CDLL(None, use_errno=True)
NEW_MOUNTS, NO_ACCESS_TIMES, WHEN_UNUSED, FORGET_BLOCKS = 0x20000, 1024, 2, 0x1261
HEAD = struct.Struct("=QQQ")  # of what disk.cc keeps
EXT4 = ["mkfs.ext4", "-q", "-F", "-b", "4096", "-N", "1024", "-J", "size=4", "-E",
        "lazy_itable_init=0,lazy_journal_init=0"]
SYSTEMS = {  # type, MiB, how it is made, options
    "ext4 ordered": ("ext4", 16, EXT4, b""),
    "ext4 writeback": ("ext4", 16, EXT4, b"data=writeback,noauto_da_alloc"),
    "ext4 journal": ("ext4", 16, EXT4, b"data=journal"),
    "xfs": ("xfs", 300, ["mkfs.xfs", "-q", "-f"], b""),
    "btrfs": ("btrfs", 128, ["mkfs.btrfs", "-q", "-f"], b"nodiscard")}


def system_call(done):
    if done != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def separate_mounts():
    """They end with this process and what it has started."""
    system_call(LIBC.unshare(NEW_MOUNTS))
    run(["mount", "--make-rprivate", "/"])


def missing(system, disk):
    """What it takes and is not there."""
    needed = [disk or "fuse3", "/dev/fuse", "/dev/loop-control", SYSTEMS[system][2][0]]
    return "root" if os.geteuid() else next(
        (n for n in needed if not (shutil.which(n) or os.path.exists(n))), None)


@contextlib.contextmanager
def mounted(device, system, top):
    kind, _, _, options = SYSTEMS[system]
    system_call(LIBC.mount(device.encode(), top.encode(), kind.encode(),
                           NO_ACCESS_TIMES, options))
    try:
        yield
    finally:
        system_call(LIBC.umount2(top.encode(), 0))
        if kind == "btrfs":
            run(["btrfs", "device", "scan", "--forget"])


@contextlib.contextmanager
def loop(path):
    """Gives the device and a descriptor; it ends when no one has it open any more."""
    device = run(["losetup", "-f", "--show", path])[0].decode().strip()
    opened = os.open(device, os.O_RDONLY)
    try:
        run(["losetup", "-d", device])
        yield device, opened
    finally:
        os.close(opened)


class Disk:
    """The disk that is recorded, mounted at top; its clock is the size of the log."""

    def __init__(self, system, work):
        self.system = system
        self.base, self.log, self.top, self.image, self.served = (
            f"{work}/{name}" for name in ("base", "log", "top", "image", "served"))

    @contextlib.contextmanager
    def recorded(self, program):
        _, size, make, _ = SYSTEMS[self.system]
        with open(self.base, "wb") as file:
            file.truncate(size << 20)
        run([*make, self.base])
        run(["fallocate", "--dig-holes", self.base])
        run(["cp", "--sparse=always", self.base, self.image])
        os.mkdir(self.served)
        os.mkdir(self.top)
        with subprocess.Popen([program, self.image, self.log, self.served],
                              process_group=0) as server:
            try:
                wait_until(lambda: os.path.exists(self.served + "/disk"))
                with loop(self.served + "/disk") as (device, _), \
                        mounted(device, self.system, self.top):
                    yield
            finally:
                LIBC.umount2(self.served.encode(), WHEN_UNUSED)
                server.wait(20)

    def begin(self):
        pass

    def clock(self):
        return os.stat(self.log).st_size

    def environment(self, seed):
        return {"KIVDB_SYNC_SEED": str(seed)}


class Images:
    """What the disk may hold after cuts at ever later times, on a device."""

    def __init__(self, disk, pick, stack):
        with open(disk.log, "rb") as file:
            self.log = file.read()
        self.events, at = [], 0  # (end in the log, place on the disk, size)
        while at < len(self.log):
            kind, place, size = HEAD.unpack_from(self.log, at)
            at += HEAD.size + size
            self.events.append((at, place, size if kind == 1 else None))
        self.disk, self.pick, self.done = disk, pick, 0
        self.durable, self.image = (os.open(path, os.O_RDWR)
                                    for path in (disk.base, disk.image))
        for opened in (self.durable, self.image):
            stack.callback(os.close, opened)
        self.device, self.opened = stack.enter_context(loop(disk.image))

    def times(self, begin, end):
        return [time for time, _, _ in self.events if begin < time <= end]

    def make(self, cut):
        """Some of the writes behind the last flush are missing; tells which."""
        count = sum(time <= cut for time, _, _ in self.events)
        flushed = max((i + 1 for i in range(count) if self.events[i][2] is None),
                      default=0)
        self._write(self.durable, self.events[self.done:flushed])
        self.done = max(self.done, flushed)
        self._copy()
        late, way = self.events[flushed:count], "none"
        if late:
            one, part = self.pick.choice(late), self.pick.random()
            ways = {"all": lambda e: True, "none": lambda e: False,
                    "one": lambda e: e is one, "all but one": lambda e: e is not one,
                    "part": lambda e: self.pick.random() < part}
            way = self.pick.choice([*ways, "torn"])
            self._write(self.image, filter(ways.get(way, ways["part"]), late))
            if way == "torn":
                self._write(self.image, [one], self.pick.choice([512, 4096]))
        fcntl.ioctl(self.opened, FORGET_BLOCKS)
        return f"{way} of {len(late)}"

    def _write(self, file, events, unit=None):
        """With a unit only some of its pieces."""
        for end, place, size in events:
            for at in range(0, size or 0, unit or size or 1):
                if not unit or self.pick.random() < 0.5:
                    begin = end - size + at
                    piece = self.log[begin:min(end, begin + (unit or size))]
                    os.pwrite(file, piece, place + at)

    def _copy(self):
        size, at = os.fstat(self.durable).st_size, 0
        os.ftruncate(self.image, 0)
        os.ftruncate(self.image, size)
        with contextlib.suppress(OSError):  # behind the last piece there is none
            while at < size:
                begin = os.lseek(self.durable, at, os.SEEK_DATA)
                at = os.lseek(self.durable, begin, os.SEEK_HOLE)
                os.lseek(self.image, begin, os.SEEK_SET)
                while begin < at:
                    begin += os.sendfile(self.image, self.durable, begin, at - begin)
