#!/usr/bin/env bash
# Tries what the library promises for when things go wrong: power cuts, kills,
# calls that fail, cancelled threads, processes among each other, random input
# and odd trees: scripts/torture.sh [--minutes N | --quick | --self-test]
# Takes N minutes, 60 unless given, besides building.  Prints a table of what was
# tried and found, and puts it into docs/testing.md.  With --quick it takes two
# minutes, fuzzes without coverage, and writes nothing.  With --self-test it plants
# faults in a copy of the sources, one after another, and wants each to be found.
# Fails when there is a fault, and keeps what the parts told in build/torture.
# Power cuts on disks need root, and Linux's FUSE and loop devices.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

mode=${1:-}
minutes=60
case $mode in
  '' | --quick | --self-test) ;;
  --minutes) minutes=${2:?how many} ;;
  *) echo "usage: $0 [--minutes N | --quick | --self-test]" >&2; exit 2 ;;
esac
seconds=$((minutes * 60))
if [[ $mode == --quick ]]; then seconds=75; fi
out=$project/build/torture

# part NAME PERCENT COMMAND [ARGUMENT ...]: runs a command for its part of the
# time, limit in seconds.  What it prints are rows of the table: what, cases,
# faults and a note, with tabs between them.
part() {
  local status=0 limit=$((seconds * $2 / 100)) rows=$out/$1.rows
  "${@:3}" >"$rows" 2>"$out/$1.log" || status=$?
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
  local build=$project/build/release
  local preload=LD_PRELOAD=$build/tests/tools/libkivdb_stop_at.so
  local tool=("$build/kivdb" "$build/tests/torture/kivdb_hand")
  local fuzz=$project/build/$fuzzer/tests/torture/kivdb_fuzz
  {
    part power 70 tests power.py "${tool[@]}" "$preload" \
      "$build/tests/torture/kivdb_disk"
    part processes-disk 15 processes "$out"
    part processes-memory 15 processes /dev/shm
  } &
  export TMPDIR=/dev/shm
  part calls 40 tests calls.py "${tool[@]}" "$preload"
  part cancel 10 tests kivdb_cancel
  part fuzz 30 tests fuzz.py "$fuzz"
  part trees 20 tests trees.py "${tool[@]}"
  wait
}

# The rows of all parts, in this order.
table() {
  echo "| What | Cases | Faults | |"
  echo "|---|---|---|---|"
  local name
  for name in power calls cancel processes-disk processes-memory fuzz trees; do
    awk -F '\t' '{ printf "| %s | %s | %s | %s |\n", $1, $2, $3, $4 }' \
      "$out/$name.rows"
  done
}

faults() {
  cat "$out"/*.rows | awk -F '\t' '{ sum += $3 } END { print sum + 0 }'
}

build_all() {
  need_tools release
  need python3:python3 strace:strace
  want /usr/include/fuse3/fuse.h:libfuse3-dev fusermount3:fuse3 \
    mkfs.ext4:e2fsprogs mkfs.xfs:xfsprogs mkfs.btrfs:btrfs-progs \
    pkg-config:pkg-config
  quietly configure release
  quietly build release all
  fuzzer=release
  if [[ $mode == '' || $mode == --minutes ]]; then
    need clang++:clang /usr/lib/llvm-14/lib/clang:libclang-rt-14-dev
    fuzzer=fuzz
    quietly configure fuzz
    quietly build fuzz kivdb_fuzz
  fi
}

rm -rf "$out"
mkdir -p "$out"
build_all
run_parts
{
  echo
  echo "\`scripts/torture.sh --minutes $minutes\`, $(date -u +%Y-%m-%d)," \
    "$(nproc) processors, $(uname -sr):"
  echo
  table
  echo
} >"$out/table.md"
cat "$out/table.md"
if [[ $mode != --quick ]]; then
  put_figures scripts/torture.sh "$project/docs/testing.md" "$out/table.md"
fi
if (($(faults) > 0)); then
  echo "What was found is told in ${out#"$project/"}/*.log" >&2
  exit 1
fi
