#!/usr/bin/env bash
# Builds a preset and runs all its tests: scripts/test.sh [PRESET [ARGUMENT ...]]
# The preset is release unless given; the arguments go to cmake's configuring.
# The last line counts the tests: "N passed, N failed".

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

preset=${1:-release}
need_tools "$preset"
configure "$preset" "${@:2}"
build "$preset" all
run_tests "$preset"
