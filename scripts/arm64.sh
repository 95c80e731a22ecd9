#!/usr/bin/env bash
# Builds for arm64 and runs the tests under emulation:
# scripts/arm64.sh [--quick] [ARGUMENT ...]
# The arguments go to cmake's configuring.  With --quick without the tool, whose
# tests start it thousands of times.  The last line is that of test.sh.
#
# tool_watches_absent is not run: what the emulator starts does not tell the one
# that started it why a program could not be run.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

tool=ON
if [[ ${1:-} == --quick ]]; then tool=OFF && shift; fi

# make_sysroot DIRECTORY: the libraries for arm64; nothing of them is installed
# on this machine.
make_sysroot() {
  local packages=(libc6-dev libstdc++6 libgtest-dev "${tool_headers[@]##*:}")
  echo "Fetching the libraries for arm64"
  rm -rf "$1.new"
  mkdir -p "$1.new"
  mmdebstrap --quiet --variant=extract --architectures=arm64 \
    --include="${packages[*]}" "$(codename)" |
    tar -x -C "$1.new" ./lib ./usr/lib ./usr/include
  mv "$1.new" "$1"
}

need cmake:cmake make:make aarch64-linux-gnu-g++:g++-aarch64-linux-gnu \
  qemu-aarch64:qemu-user mmdebstrap:mmdebstrap
want cram3:python3-cram
sysroot=$project/build/sysroot
[[ -d $sysroot ]] || make_sysroot "$sysroot"

configure arm64 -DKIVDB_TOOLS="$tool" "$@"
build arm64 all
run_tests arm64 --timeout 900
