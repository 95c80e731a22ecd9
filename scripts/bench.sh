#!/usr/bin/env bash
# Compares the library with bare system calls and with SQLite:
# scripts/bench.sh [--quick] [DIRECTORY]
# Prints one table and writes it to bench/results.md and, as a picture, to
# bench/results.svg.  With --quick all is cut down, to see that it works, and
# nothing is written.  DIRECTORY is on the disk to measure, below build/ unless
# given.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

mode=full
if [[ ${1:-} == --quick ]]; then mode=quick && shift; fi
directory=${1:-$project/build/bench}
series=$directory/series.tsv
program=$project/build/release/bench/kivdb_bench

need_tools release
need /usr/include/benchmark/benchmark.h:libbenchmark-dev \
  /usr/include/sqlite3.h:libsqlite3-dev
if [[ $mode == full ]]; then need gnuplot:gnuplot-nox; fi
quietly configure release
quietly build release kivdb_bench
mkdir -p "$directory"

if [[ $mode == quick ]]; then
  "$program" quick "$directory" "$series"
  exit
fi

about() {
  cat <<'END'
# Benchmark results

Written by `scripts/bench.sh`.  Records are of about 60 bytes in four columns;
the page cache is warm.  Each row was measured in rounds, every contestant in
turn in each; times are medians over the rounds for one operation, and ratios
medians of the rounds' ratios.

- floor: the fewest system calls that the same files on disk ask for, with
  buffers that are used again.
- library: used as a host uses it, on the floor's files.  A change also takes the
  table's lock between processes, which the floor does not.
- SQLite: prepared statements, synchronous=FULL, `id` the primary key and no
  other index.  Each add, update and delete is one transaction, which is on
  disk when it ends, and so is a whole create; the library and the floor force
  each record of a create to disk by itself, and a delete not at all.
- library/SQLite: against the faster of the two journals.
- GetRecord looks for the record in the middle of the directory; SQLite looks
  it up by its key.
- "as many adds" is all of them together, in the rounds of the create before it.

END
}
filesystem() { df --output=fstype "$1" | tail -n 1; }
sqlite() {
  sed -n 's/^#define SQLITE_VERSION  *"\(.*\)"/\1/p' /usr/include/sqlite3.h
}
{
  about
  echo "- Date: $(date -u +%Y-%m-%d)"
  echo "- Processor: $(sed -n 's/^model name.*: //p' /proc/cpuinfo |
    head -n 1), $(nproc) processors"
  echo "- Kernel: $(uname -sr)"
  echo "- File systems: disk is $(filesystem "$directory")," \
    "tmpfs is $(filesystem /dev/shm)"
  echo "- Compiler: $(g++ --version | head -n 1)"
  echo "- SQLite: $(sqlite)"
  echo
  "$program" full "$directory" "$series"
} | tee "$directory/results.md"
mv "$directory/results.md" "$project/bench/results.md"
gnuplot -e "series='$series'; picture='$project/bench/results.svg'" \
  "$project/bench/results.gp"
