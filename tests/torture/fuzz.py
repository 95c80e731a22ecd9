#!/usr/bin/env python3
"""Each target of the fuzzer: fuzz.py KIVDB_FUZZ [--seconds N] [--seed S]"""
import argparse
import glob
import os
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def fuzz(target):
    """The row of a target, and its faults."""
    with tempfile.TemporaryDirectory(dir=SHM) as root:
        os.mkdir(root + "/new")
        with open(root + "/output", "wb") as out, open(root + "/said", "wb") as said:
            status = subprocess.run(
                [os.path.abspath(options.program), f"-seed={options.seed}",
                 f"-max_total_time={SECONDS}" if SECONDS else "-runs=0", "-timeout=30",
                 "-max_len=8192", root + "/new", f"{CORPUS}/{target}"], cwd=root,
                env=os.environ | {"KIVDB_FUZZ_TARGET": target},
                stdin=subprocess.DEVNULL, stdout=out, stderr=said).returncode
        if status == 77 and not os.path.exists(root + "/count"):
            return f"fuzzing, {target}\t0\t0\tleft out without the tool's packages", 0
        if status != 0:
            kept = tempfile.mkdtemp(prefix=f"kivdb_fuzz_{target}.")
            for path in [root + "/said", *glob.glob(root + "/*-*")]:
                shutil.copy(path, kept)
            print(f"{target}, seed {options.seed}: see {kept}", file=sys.stderr)
        count = os.path.getsize(root + "/count")
        return f"fuzzing, {target}\t{count}\t{int(status != 0)}\t", status


SHM = "/dev/shm" if os.path.isdir("/dev/shm") else None
parser = argparse.ArgumentParser()
parser.add_argument("program")
parser.add_argument("--seconds", type=int, default=60)
parser.add_argument("--seed", type=int, default=1)
options = parser.parse_args()
TARGETS = sorted(os.listdir(CORPUS))
SECONDS = -(-options.seconds * 2 // len(TARGETS))
with ThreadPoolExecutor(2) as pool:
    ROWS = list(pool.map(fuzz, TARGETS))
print("\n".join(row for row, _ in ROWS))
sys.exit(any(status for _, status in ROWS))
