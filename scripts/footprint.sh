#!/usr/bin/env bash
# Measures what the library takes on a small host: scripts/footprint.sh [--write]
# Prints the sizes of its files and how much stack its operations take, and with
# --write puts that between the two marks in README.md.  The sizes for arm64 come
# with it where scripts/arm64.sh has been.  Of which frames the stack consists is in
# build/footprint/release/chains.txt.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

out=$project/build/footprint

# libraries NAME PRESET [ARGUMENT ...]: builds them in build/footprint/NAME.
libraries() {
  quietly configure "$2" -B "$out/$1" "${libraries_alone[@]}" "${@:3}"
  quietly build "footprint/$1" kivdb
}

# sizes TITLE NAME STRIP: a row of the sizes of stripped libraries, in KiB.
sizes() {
  local library row="| $1 |"
  for library in libkivdb.so libkivdb_zel.so; do
    "$3" -o "$out/stripped" "$out/$2/$library"
    row+=" $((($(stat -c %s "$out/stripped") + 512) / 1024)) |"
  done
  echo "$row"
}

# look DIRECTORY: runs the operations of a build on a stack that is looked at.
look() {
  local work
  work=$(mktemp -d -p /dev/shm kivdb_stack.XXXXXX)
  "$1/bench/kivdb_stack" "$work" >"$1/seen.tsv" 2>"$1/lines" || {
    tail -n 3 "$1/lines" >&2
    exit 1
  }
  rm -r "$work"
}

need_tools release
need strip:binutils python3:python3-minimal
rm -rf "$out"
mkdir -p "$out"
libraries release release -DKIVDB_BENCH=ON -DCMAKE_CXX_FLAGS=-fcallgraph-info=su
quietly build footprint/release kivdb_stack
look "$out/release"
libraries small small
{
  echo
  echo "| KiB, stripped | \`libkivdb.so\` | \`libkivdb_zel.so\` |"
  echo "|---|---|---|"
  sizes "x86-64, \`release\`" release strip
  sizes "x86-64, \`small\`" small strip
  if [[ -d $project/build/sysroot ]]; then
    libraries arm64 arm64
    libraries arm64-small arm64 -DCMAKE_BUILD_TYPE=MinSizeRel
    sizes "arm64, \`release\`" arm64 aarch64-linux-gnu-strip
    sizes "arm64, \`small\`" arm64-small aarch64-linux-gnu-strip
  fi
  echo
  "$project/scripts/stack.py" "$out/release"
  echo
} >"$out/footprint.md"
cat "$out/footprint.md"

if [[ ${1:-} == --write ]]; then
  put_figures scripts/footprint.sh "$project/README.md" "$out/footprint.md"
fi
