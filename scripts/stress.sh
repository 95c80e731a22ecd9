#!/usr/bin/env bash
# Lets several processes change one table, kills some of them, and looks whether
# a change is lost: scripts/stress.sh [--quick] [SECONDS]
# Once on the disk, below build/stress, and once in /dev/shm, each for SECONDS,
# 60 unless given.  With --quick 2, to see that it works.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

seconds=60
if [[ ${1:-} == --quick ]]; then seconds=2 && shift; fi
seconds=${1:-$seconds}

need_tools release
quietly configure release
quietly build release kivdb_stress
mkdir -p "$project/build/stress"

# The directories go even when a run was killed.
directories=()
trap 'rm -rf "${directories[@]}"' EXIT

status=0
for parent in "$project/build/stress" /dev/shm; do
  directory=$(mktemp -d "$parent/kivdb_stress.XXXXXX")
  directories+=("$directory")
  echo "$parent, $seconds seconds:"
  "$project/build/release/bench/kivdb_stress" "$directory" "$seconds" ||
    status=1
done
exit "$status"
