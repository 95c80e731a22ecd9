#!/usr/bin/env bash
# Checks the example of a unit that prepares tables at boot: scripts/boot.sh
# systemd must take it without a word, and its commands must do, on a database
# that needs both, what it says of them.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

need_tools release
need systemd-analyze:systemd
quietly configure release
quietly build release kivdb_tool
kivdb=$project/build/release/kivdb
unit=$project/examples/appliance-tables.service
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

echo "systemd's opinion"
copy=$root/${unit##*/}
sed "s|^ExecStart=/usr/bin/kivdb|ExecStart=$kivdb|" "$unit" >"$copy"
said=$(systemd-analyze verify --man=no --recursive-errors=no "$copy" 2>&1) ||
  said+=" (status $?)"
if [[ -n $said ]]; then echo "$said" >&2 && exit 1; fi

# boot: runs the commands of the unit and gives their statuses.
boot() {
  local command statuses=()
  while read -ra command; do
    local status=0
    "${command[@]/#\//$root/}" >>"$root/said" 2>&1 || status=$?
    statuses+=("$status")
  done < <(sed -n 's/^ExecStart=//p' "$unit")
  echo "${statuses[*]}"
}

# gives WHAT STATUSES: boots and wants these.
gives() {
  local statuses
  statuses=$(boot)
  echo "$1: $statuses"
  if [[ $statuses != "$2" ]]; then
    cat "$root/said"
    exit 1
  fi
}

mkdir -p "$root"/{usr/bin,usr/share/appliance,var/lib/appliance}
ln -s "$kivdb" "$root/usr/bin"
tables=$root/var/lib/appliance
cp "$project/examples/appliance.ini" "$root/usr/share/appliance"
"$kivdb" -r "$tables" create "$root/usr/share/appliance/appliance.ini"
gives "nothing to do" "0 0"
services=$tables/kiv/database/services
cp "$services/5" "$services/5~"
gives "what an editor left" "0 0"
mv "$services/5" "$services/5.tmp"
gives "an interrupted save" "1 0"
"$kivdb" -r "$tables" set services 8 port=70
cp "$project/examples/appliance-2.ini" "$root/usr/share/appliance/appliance.ini"
gives "a new release, beside a change of the owner's" "1 1"
