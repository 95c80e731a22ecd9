#!/usr/bin/env bash
# Checks the library as other builds find it: scripts/consumers.sh
# Installed, in one prefix as shared and as static libraries, as sources inside
# another project, and with another libzel.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

need_tools release
need git:git pkg-config:pkgconf
quietly configure release
quietly build release all
release=$project/build/release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "$*" >&2 && exit 1; }

# consumer NAME KIND CMAKE_ARGUMENT ...: builds a project outside this one with
# the library and runs it.  It must take the libraries of this kind.
consumer() {
  echo "A project with KivDB: $1"
  quietly cmake -S "$project/tests/consumer" -B "$work/$1" "${@:3}"
  quietly cmake --build "$work/$1" --parallel "$(nproc)" --target consumer
  run "$work/$1/consumer" "$2"
}

# run PROGRAM KIND
run() {
  "$1" || fail "$1 failed"
  local kind=static
  if readelf -d "$1" | grep -q 'NEEDED.*libkivdb\.so\.1'; then kind=shared; fi
  [[ $kind == "$2" ]] || fail "$1 uses the $kind libraries"
}

# refused TEXT CMAKE_ARGUMENT ...: configuring must fail with a text.
refused() {
  local output
  if output=$(cmake -S "$project/tests/consumer" -B "$work/refused" \
    "${@:2}" 2>&1); then
    fail "taken was: ${*:2}"
  fi
  grep -qF "$1" <<<"$output" || fail "not told: $1"
  rm -rf "$work/refused"
}

# plain NAME KIND FLAG ...: likewise with the compiler alone.
plain() {
  echo "A program with KivDB: $1"
  g++ -std=c++17 "$project/tests/consumer/main.cpp" -o "$work/plain" "${@:3}"
  LD_LIBRARY_PATH=$prefix/lib run "$work/plain" "$2"
}

# flags OPTION ...: what pkg-config tells of an installation.
flags() {
  PKG_CONFIG_LIBDIR=$prefix/lib/pkgconfig pkg-config "$@"
}

quietly cmake -S "$project" -B "$work/build" -DKIVDB_SHARED=OFF \
  "${libraries_alone[@]}"
quietly cmake --build "$work/build" --parallel "$(nproc)"
install_to() { quietly cmake --install "$1" --prefix "$work/$2" "${@:3}"; }
install_to "$work/build" static-prefix
install_to "$work/build" first-prefix
install_to "$release" first-prefix
install_to "$release" prefix
install_to "$work/build" prefix
diff -r "$work/first-prefix" "$work/prefix"
if find "$work/prefix" -name 'libzel*' -o -path '*/include/zel*' | grep .; then
  fail "a host's own libzel could have this name"
fi

echo "Components"
for component in runtime dev tools doc; do
  install_to "$release" "component/$component" --component "$component"
  (cd "$work/component/$component" && find . ! -type d)
done | sort >"$work/parts"
install_to "$release" shared-prefix
(cd "$work/shared-prefix" && find . ! -type d) | sort |
  diff "$work/parts" - || fail "the components are not the whole, once"

mkdir "$work/moved"
mv "$work/prefix" "$work/moved/prefix"
prefix=$work/moved/prefix
if [[ -e $release/kivdb ]]; then "$prefix/bin/kivdb" --version; fi

installed=-DCMAKE_PREFIX_PATH=$prefix
consumer default shared "$installed"
consumer shared shared "$installed" -DKIVDB_COMPONENTS=shared
consumer static static "$installed" -DKIVDB_COMPONENTS=static
consumer only-static static -DCMAKE_PREFIX_PATH="$work/static-prefix"
refused "no component fast" "$installed" -DKIVDB_COMPONENTS='static;fast'
refused "not for both" "$installed" -DKIVDB_COMPONENTS='static;shared'
refused "No static libraries" -DCMAKE_PREFIX_PATH="$work/shared-prefix" \
  -DKIVDB_COMPONENTS=static

include=(-I"$prefix/include" -I"$prefix/include/kivdb-platform")
plain compiler shared "${include[@]}" -L"$prefix/lib" -lkivdb -lkivdb_zel
read -ra words <<<"$(flags --cflags --libs kivdb kivdb-zel)"
plain pkg-config shared "${words[@]}"
read -ra words <<<"$(flags --static --cflags --libs kivdb)"
plain pkg-config-static static "${include[@]}" "${words[@]}" -static

copy_sources "$work/archive/kivdb"
tar -C "$work/archive" -czf "$work/kivdb.tar.gz" kivdb
others=(-DKIVDB_TESTS=ON -DKIVDB_BENCH=ON -DKIVDB_TOOLS=ON)
consumer fetched shared "${others[@]}" -DKIVDB_URL="$work/kivdb.tar.gz"
consumer sources static "${others[@]}" -DKIVDB_SOURCE="$project" \
  -DBUILD_SHARED_LIBS=OFF
install_to "$work/sources" host
[[ $(cd "$work/host" && find . ! -type d) == ./bin/consumer ]] ||
  fail "a host that adds the sources installs more than its own"

echo "A host's own libzel"
zel=$prefix/lib/libkivdb_zel.so
quietly cmake -S "$project" -B "$work/zel" -DKIVDB_ZEL_LIBRARY="$zel"
quietly cmake --build "$work/zel" --parallel "$(nproc)"
quietly "$work/zel/kivdb_host" "$project/examples/appliance.ini" "$work/demo"
if cmake -S "$project" -B "$work/none" -DKIVDB_ZEL_LIBRARY="$zel.none" \
  >/dev/null 2>&1; then
  fail "a libzel that is not there was taken"
fi
