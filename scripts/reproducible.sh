#!/usr/bin/env bash
# Builds all of it again, in a folder whose name has another length, more than a
# year later, with another umask and time zone, and compares byte for byte:
# scripts/reproducible.sh [--quick]
# Whole installed trees, and the Debian packages with their debug information.
# The first packages are those of scripts/package.sh, if it has built them from
# the same sources.  With --quick the tool is compared in its package only.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

components=(runtime dev doc)
options=(-DKIVDB_TESTS=OFF -DKIVDB_BENCH=OFF)
if [[ ${1:-} == --quick ]]; then
  options+=(-DKIVDB_TOOLS=OFF)
else
  components+=(tools)
fi

need_packaging
need faketime:faketime
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
elsewhere=$work/a-folder-whose-name-is-longer-than-that-of-the-first
built=$project/build/packages

later=(env TZ=Pacific/Kiritimati NO_FAKE_STAT=1 faketime -f +400d)

# tree BUILD NAME [COMMAND ...]: installs the components into a tree of this
# name.
tree() {
  local component
  for component in "${components[@]}"; do
    quietly "${@:3}" cmake --install "$1" --prefix "$work/$2" \
      --component "$component"
  done
}

build_again() {
  umask 077
  copy_sources "$elsewhere"
  (cd "$elsewhere" &&
    quietly "${later[@]}" cmake --preset release "${options[@]}")
  quietly "${later[@]}" cmake --build "$elsewhere/build/release" \
    --parallel "$(nproc)"
  tree "$elsewhere/build/release" second "${later[@]}"
  build_packages "$work/packages" nocheck "${later[@]}"
}

# modes TREE: of all its files.
modes() {
  (cd "$1" && find . ! -type d -printf '%M %p %l\n' | sort)
}

# same FILE OTHER: tells what differs, inside of packages, too.
same() {
  if cmp "$1" "$2"; then return; fi
  if [[ $1 == *.deb ]]; then
    rm -rf "$work/inside"
    dpkg-deb -R "$1" "$work/inside/first"
    dpkg-deb -R "$2" "$work/inside/second"
    diff -r "$work/inside/first" "$work/inside/second"
  fi
  return 1
}

quietly configure release
quietly build release all
tree "$project/build/release" first
if [[ $(cat "$built/state" 2>/dev/null) != "$(sources_state)" ]]; then
  build_packages "$built" nocheck
fi
(build_again)

status=0
diff -r "$work/first" "$work/second" || status=1
diff <(modes "$work/first") <(modes "$work/second") || status=1
# The other files tell when and where they were made.
files=0
for file in "$built"/*.{deb,dsc,tar.xz}; do
  same "$file" "$work/packages/${file##*/}" || status=1
  files=$((files + 1))
done
if ((status == 0)); then
  echo "The same: $(modes "$work/first" | wc -l) installed files," \
    "$files files of the packages"
fi
exit "$status"
