#!/usr/bin/env bash
# Formats the C++ files: scripts/format.sh [--check]
# With --check it changes nothing and fails when a file is not formatted.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

case ${1:-} in
  '') mode=(-i) ;;
  --check) mode=(--dry-run --Werror) ;;
  *) echo "usage: $0 [--check]" >&2; exit 2 ;;
esac

need git:git clang-format:clang-format
cd "$project"
mapfile -d '' files < <(git ls-files -z -co --exclude-standard -- \
  '*.h' '*.cc' '*.cpp')
clang-format "${mode[@]}" "${files[@]}"
