#!/usr/bin/env bash
# Builds a preset and runs all its tests: scripts/test.sh [PRESET [ARGUMENT ...]]
# The preset is release unless given; the arguments go to cmake's configuring.
# The last line counts the tests: "N passed, N failed".

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

preset=${1:-release}
results=$project/build/$preset/results.xml

need_tools "$preset"
configure "$preset" "${@:2}"
build "$preset" all

# The tests' directories go even when a test was killed.
export TMPDIR=$project/build/$preset/tmp
rm -rf "$results" "$TMPDIR"
mkdir "$TMPDIR"

# A run path of a program is found by way of /proc.
if [[ ! -e /proc/self ]]; then
  export LD_LIBRARY_PATH=$project/build/$preset
fi

status=0
ctest --test-dir "$project/build/$preset" --parallel "$(nproc)" --timeout 120 \
  --no-tests=error --output-on-failure --output-junit "$results" || status=$?

rm -rf "$TMPDIR"

# count NAME: a number that ctest tells of its test suite.
count() {
  sed -n "/<testsuite/,/>/s/.*\b$1=\"\([0-9]*\)\".*/\1/p" "$results"
}
failed=$(count failures)
skipped=$(($(count skipped) + $(count disabled)))
echo "$(($(count tests) - failed - skipped)) passed, $failed failed"
exit "$status"
