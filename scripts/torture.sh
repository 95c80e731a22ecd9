#!/usr/bin/env bash
# Tries what the library promises for when things go wrong: power cuts, kills,
# calls that fail, cancelled threads, processes among each other, random input
# and odd trees: scripts/torture.sh [--minutes N [PART] | --quick | --self-test]
# Takes N minutes, 60 unless given, besides building.  Prints a table of what was
# tried and found, and puts it into docs/testing.md.  With --quick it takes two
# minutes, fuzzes without coverage, and writes nothing.  With --self-test it plants
# faults in a copy of the sources, one after another, and wants each to be found.
# PART is power, calls, cancel, processes_disk, processes_memory, fuzz or trees: it
# alone runs, for its part of the minutes, and no figures are written.
# Fails when there is a fault, and keeps what the parts told in build/torture.
# Power cuts on disks need root, and Linux's FUSE and loop devices.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

mode=${1:-}
only=${3:-}
minutes=60
case $mode in
  '' | --quick | --self-test) ;;
  --minutes) minutes=${2:?how many} ;;
  *) echo "usage: $0 [--minutes N [PART] | --quick | --self-test]" >&2; exit 2 ;;
esac
seconds=$((minutes * 60))
if [[ $mode == --quick ]]; then seconds=75; fi
out=$project/build/torture

# part NAME PERCENT: runs the part of that name for so much of the time, limit in
# seconds.  What it prints are rows of the table: what, cases, faults and a note,
# with tabs between them.
part() {
  local status=0 limit=$((seconds * $2 / 100)) rows=$out/$1.rows
  if [[ -n $only && $1 != "$only" ]]; then return; fi
  "$1" >"$rows" 2>"$out/$1.log" || status=$?
  if ((status > 1)) || [[ ! -s $rows ]]; then
    printf '%s\t0\t1\tended with status %s\n' "$1" "$status" >>"$rows"
  fi
}

# within COMMAND [ARGUMENT ...]: ends what does not end soon behind the limit.
within() {
  timeout --kill-after=20 $((limit * 2 + 180)) "$@"
}

# tests NAME [ARGUMENT ...]: a program of tests/torture.
tests() {
  local directory=$project/tests/torture
  if [[ $1 != *.py ]]; then directory=$build/tests/torture; fi
  within "$directory/$1" "${@:2}" --seconds "$limit"
}

power() {
  tests power.py "$build/kivdb" "$build/tests/torture/kivdb_hand" "$preload" \
    "$build/tests/torture/kivdb_disk"
}
calls() {
  tests calls.py "$build/kivdb" "$build/tests/torture/kivdb_hand" "$preload"
}
trees() { tests trees.py "$build/kivdb" "$build/tests/torture/kivdb_hand"; }
cancel() { tests kivdb_cancel; }
fuzz() { tests fuzz.py "$project/build/$fuzzer/tests/torture/kivdb_fuzz"; }
processes_disk() { processes "$out"; }
processes_memory() { processes /dev/shm; }

# processes DIRECTORY: what scripts/stress.sh does there, as a row.
processes() {
  local directory status=0
  directory=$(mktemp -d "$1/kivdb_stress.XXXXXX")
  within "$build/bench/kivdb_stress" "$directory" "$limit" |
    awk -v where="$(df --output=fstype "$1" | tail -n 1)" '
      / changes acknowledged$/ { cases = $1 }
      / kills$/ { note = $1 " kills" }
      / faults$/ { faults = $1; ended = 1 }
      END {
        if (!ended) { faults = 1; note = "did not end" }
        printf "processes, %s\t%d\t%d\t%s\n", where, cases, faults, note
      }' || status=$?
  rm -rf "$directory"
  return "$status"
}

# Two at a time: the first waits for disks.
run_parts() {
  {
    part power 70
    part processes_disk 15
    part processes_memory 15
  } &
  part calls 40
  part cancel 10
  part fuzz 30
  part trees 20
  wait
}

# The rows of all parts, in this order.
table() {
  echo "| What | Cases | Faults | |"
  echo "|---|---|---|---|"
  local name
  for name in power calls cancel processes_disk processes_memory fuzz trees; do
    if [[ ! -e $out/$name.rows ]]; then continue; fi
    awk -F '\t' '{ printf "| %s | %s | %s | %s |\n", $1, $2, $3, $4 }' \
      "$out/$name.rows"
  done
}

# faults PATTERN: of the rows of these parts.
faults() {
  # shellcheck disable=SC2086 # it is a pattern
  cat "$out"/$1.rows | awk -F '\t' '{ sum += $3 } END { print sum + 0 }'
}

# Installed, or left out.
what_it_takes() {
  need_tools release
  need python3:python3 strace:strace
  want pkg-config:pkg-config /usr/include/fuse3/fuse.h:libfuse3-dev \
    fusermount3:fuse3 mkfs.ext4:e2fsprogs mkfs.xfs:xfsprogs \
    mkfs.btrfs:btrfs-progs
}

# In the preset release, without coverage for the fuzzer.
build_programs() {
  build=$project/build/release
  preload=LD_PRELOAD=$build/tests/tools/libkivdb_stop_at.so
  fuzzer=release
  quietly configure release
  quietly build release all
}

build_fuzzer() {
  need clang++:clang \
    /usr/lib/clang/14/lib/linux/libclang_rt.fuzzer-x86_64.a:libclang-rt-14-dev
  fuzzer=fuzz
  quietly configure fuzz
  quietly build fuzz kivdb_fuzz
}

# plant PART SECONDS FILE EDIT: edits a file of the copy, and wants a fault from
# the part in that time.
plant() {
  local file=$project/$3 seconds=$2
  cp "$file" "$out/original"
  sed -i "$4" "$file"
  if cmp -s "$file" "$out/original"; then
    echo "nothing to plant in $3: $4" >&2
    return 1
  fi
  quietly build release all
  part "$1" 100
  cp "$out/original" "$file"
  # What ends by itself was not looked at.
  if (($(faults "$1") == 0)) || grep -q 'ended with status' "$out/$1.rows"; then
    echo "not found by $1: $3: $4" >&2
    return 1
  fi
  echo "found by $1: $3: $4"
}

# In a copy of the sources.
self_test() {
  local status=0
  copy_sources "$out/planted"
  project=$out/planted
  build_programs
  plant power 60 src/table/add.cc \
    's/^  if (safe_fsync(file.Get()) == -1) {/  if (false) {/' || status=1
  plant power 240 src/database/add_table.cc 's/^  SyncTable(name);$//' || status=1
  plant calls 60 src/table/add.cc \
    's/^  if (WriteTemporary(from, content/  unlink(path);\n&/' || status=1
  plant calls 300 src/table/add.cc \
    's/^\(  if (safe_write(.*, length)\) != .*/\1 == -7) {/' || status=1
  plant cancel 20 base/descriptor.h '0,/CCancellationHold hold;/s///' || status=1
  plant processes_disk 20 base/file_lock.cc \
    's/got = flock(fd, operation | LOCK_NB);/got = 0;/' || status=1
  plant fuzz 30 src/table/condition.cc \
    's/return m_pairs.size() > 0;/return true;/' || status=1
  plant trees 90 src/core/first_line.cc 's/ | O_NONBLOCK//' || status=1
  return "$status"
}

rm -rf "$out"
mkdir -p "$out"
TMPDIR=$(mktemp -d /dev/shm/kivdb_torture.XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
chmod 755 "$TMPDIR" # another user runs commands there
what_it_takes
if [[ $mode == --self-test ]]; then
  self_test
  exit
fi
build_programs
if [[ $mode != --quick && (-z $only || $only == fuzz) ]]; then build_fuzzer; fi
run_parts
{
  echo
  if [[ $mode == --quick ]]; then
    echo "\`scripts/torture.sh --quick\`:"
  else
    echo "\`scripts/torture.sh --minutes $minutes${only:+ $only}\`, $(date -u +%Y-%m-%d)," \
      "$(nproc) processors, $(uname -sr):"
  fi
  echo
  table
  echo
} >"$out/table.md"
cat "$out/table.md"
if [[ $mode != --quick && -z $only ]]; then
  put_figures scripts/torture.sh "$project/docs/testing.md" "$out/table.md"
fi
if (($(faults "*") > 0)); then
  echo "What was found is told in ${out#"$project/"}/*.log" >&2
  exit 1
fi
