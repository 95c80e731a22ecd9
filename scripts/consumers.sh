#!/usr/bin/env bash
# Checks the library as other builds find it: scripts/consumers.sh
# Installed, as sources inside another project, with another libzel, and built
# again in another folder, where it must have the same bytes.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

need_tools release
need git:git
quietly configure release
quietly build release all
release=$project/build/release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# consumer NAME CMAKE_ARGUMENT ...: builds a project outside this one with the
# library and runs it.
consumer() {
  echo "A project with KivDB: $1"
  quietly cmake -S "$project/tests/consumer" -B "$work/$1" "${@:2}"
  quietly cmake --build "$work/$1" --parallel "$(nproc)" --target consumer
  "$work/$1/consumer"
}

quietly cmake --install "$release" --prefix "$work/prefix"
consumer installed -DCMAKE_PREFIX_PATH="$work/prefix"

sources=(-DKIVDB_SOURCE="$project" -DKIVDB_TESTS=ON -DKIVDB_BENCH=ON)
consumer shared "${sources[@]}"
consumer static "${sources[@]}" -DBUILD_SHARED_LIBS=OFF

echo "A host's own libzel"
zel=$work/prefix/lib/libkivdb_zel.so
quietly cmake -S "$project" -B "$work/zel" -DKIVDB_ZEL_LIBRARY="$zel"
quietly cmake --build "$work/zel" --parallel "$(nproc)"
quietly "$work/zel/kivdb_host" "$project/examples/appliance.ini" "$work/demo"
if cmake -S "$project" -B "$work/none" -DKIVDB_ZEL_LIBRARY="$zel.none" \
  >/dev/null 2>&1; then
  echo "a libzel that is not there was taken" >&2
  exit 1
fi

echo "The same bytes in another folder"
mkdir "$work/copy"
(cd "$project" && git ls-files -z |
  xargs -0 cp --parents -t "$work/copy")
(cd "$work/copy" && quietly cmake --preset release -DKIVDB_TESTS=OFF \
  -DKIVDB_BENCH=OFF)
quietly cmake --build "$work/copy/build/release" --parallel "$(nproc)"
for library in libkivdb.so libkivdb_zel.so; do
  cmp "$release/$library" "$work/copy/build/release/$library"
done
