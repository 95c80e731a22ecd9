#!/usr/bin/env bash
# Builds and runs the example host: scripts/demo.sh [ROOT]
# ROOT is the directory of its database, build/demo unless given; another run
# goes on with the database that is there.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

need_tools release
echo "Building the example host"
quietly configure release
quietly build release kivdb_host
"$project/build/release/kivdb_host" "$project/examples/appliance.ini" \
  "${1:-$project/build/demo}"
