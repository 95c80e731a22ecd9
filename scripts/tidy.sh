#!/usr/bin/env bash
# Checks all C++ sources, or those given, with clang-tidy:
# scripts/tidy.sh [FILE ...]

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

need_tools release
need clang-tidy:clang-tidy
quietly configure release
database=$project/build/release
if (($# == 0)); then
  mapfile -t files < <(
    sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' \
      "$database/compile_commands.json")
  set -- "${files[@]}"
fi
printf '%s\0' "$@" |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$database"
