#!/usr/bin/env bash
# Compares the binary interface of both libraries with the one that hosts rely
# on, in packaging/abi: scripts/abi.sh [--update | --self-test]
# Fails when a host that is built already would not run with these libraries,
# or when they export what is not in packaging/abi, optimized or not.  With
# --update it shows what is different and writes the interface as it is now.  With
# --self-test it also shows that it finds faults.
#
# The interface is read from the debug information of a build by g++ 12 without
# optimization.  Other compilers describe the same interface in other words.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

mode=${1:-}
case $mode in
  '' | --update | --self-test) ;;
  *) echo "usage: $0 [--update | --self-test]" >&2; exit 2 ;;
esac

compiler=12
interfaces=$project/packaging/abi
libraries=$project/build/abi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# headers LIBRARY: the directory of the public ones.
headers() {
  case $1 in
    libkivdb) echo "$project/include/kivdb" ;;
    libkivdb_zel) echo "$project/platform" ;;
  esac
}

# describe LIBRARY FILE: writes the interface of the file to $work.
describe() {
  abidw --headers-dir "$(headers "$1")" --drop-private-types \
    --exported-interfaces-only --drop-undefined-syms --no-architecture \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
    --no-parameter-names --no-write-default-sizes --type-id-style hash \
    --out-file "$work/$1.abi" "$2"
  # Sources may move: each has its name without a folder.
  sed -i "/^ *<abi-instr /{s|path='\./|path='|;s|/|-|g}" "$work/$1.abi"
}

# differences LIBRARY [OPTION]: what is different since it was written.
differences() {
  abidiff --no-architecture "${@:2}" "$interfaces/$1.abi" "$work/$1.abi"
}

# exports LIBRARY FILE: whether these are the same, and none is hidden.
exports() {
  "$project/tests/exports.sh" nm "$2" "$interfaces/$1.abi" "$(headers "$1")"/*.h
}

# statuses HEADER: whether their numbers, which no signature has, are those that
# the README tells.
statuses() {
  diff <(sed -n 's/^| .\(k[A-Za-z]*\). | \([0-9]*\) |.*/\1 = \2/p' \
    "$project/README.md") \
    <(sed -n 's/^  \(k[A-Za-z]* = [0-9]*\),.*/\1/p' "$1")
}

# check LIBRARY FILE: all that is to be checked of it.
check() {
  local status=0
  describe "$1" "$2" || return
  if [[ $mode == --update ]]; then
    differences "$1" || true
    cp "$work/$1.abi" "$interfaces"
  fi
  differences "$1" --no-added-syms || status=1
  exports "$1" "$2" || status=1
  return "$status"
}

# fault HEADER SOURCE EDIT PATTERN: edits a copy of the header, compiles the
# source with that, and fails unless the check does, with such a report.
fault() {
  local copy=$work/kivdb object=CMakeFiles/kivdb.dir/$2.o report
  local compile="s|^ *\"command\": \"\(.*\) -o $object -c \(.*\)\",\$|\1"
  compile+=" -include $copy/$1 -o $work/faulty.o -c \2|p"
  local link="s| $object | $work/faulty.o |; s| -o [^ ]* | -o $work/faulty.so |"

  rm -rf "$copy"
  cp -r "$project/include/kivdb" "$copy"
  sed -i "$3" "$copy/$1"
  (
    cd "$libraries"
    sed -n "$compile" compile_commands.json | sh
    sed "$link" CMakeFiles/kivdb.dir/link.txt | sh
  )
  if report=$(check libkivdb "$work/faulty.so" && statuses "$copy/status.h"); then
    echo "not found: $3" >&2
    return 1
  fi
  report=$(tr -s ' \n' ' ' <<<"$report")
  # shellcheck disable=SC2053 # it is a pattern
  if [[ $report != $4 ]]; then
    echo "not found: $3, but $report" >&2
    return 1
  fi
  echo "found: $3"
}

# build_libraries NAME [CMAKE_ARGUMENT ...]: builds them in build/NAME.
build_libraries() {
  quietly configure debug -B "$project/build/$1" "${libraries_alone[@]}" "${@:2}"
  quietly build "$1" all
}

need cmake:cmake make:make g++:g++ abidw:abigail-tools
build_libraries abi
build_libraries abi-optimized -DCMAKE_CXX_FLAGS_DEBUG=-O2

status=0
for library in libkivdb libkivdb_zel; do
  check "$library" "$libraries/$library.so" || status=1
  exports "$library" "$project/build/abi-optimized/$library.so" || status=1
done
statuses "$project/include/kivdb/status.h" || status=1
if ((status != 0)); then
  echo "The interface is another one: see docs/abi.md" >&2
  [[ $(g++ -dumpversion) == "$compiler" ]] ||
    echo "packaging/abi was written with g++ $compiler" >&2
  exit 1
fi
echo "The interface is that of packaging/abi"

if [[ $mode == --self-test ]]; then
  fault listing.h src/host/listing.cc 's/^  CRow m_row;/  int m_new; &/' \
    "*'class KivDB::CListing': type size changed *'int m_new'*"
  fault listing.h src/host/listing.cc 's/^  mutable int m_status/& , m_new/' \
    "*'KivDB::CRow m_row' changed: type size hasn't changed *'int m_new'*"
  fault version.h src/host/version.cc 's/^KIVDB_EXPORT //' \
    "*1 Removed function: *KivDB::Version()*"
  fault listing.h src/host/listing.cc 's/KIVDB_LOCAL bool Start/bool Start/' \
    "*not in libkivdb.abi: _ZN5KivDB8CListing5StartEv KivDB::CListing::Start *"
  fault status.h src/host/status.cc 's/^  kNotFound = 7/  kNotFound = 9/' \
    "*> kNotFound = 9*"
fi
