# What the scripts of this directory share; they source it:
#   source "$(dirname "$0")/lib.sh"
# shellcheck shell=bash

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# quietly COMMAND [ARGUMENT ...]: shows the output only when it fails.
quietly() {
  local output
  output=$("$@" 2>&1) || {
    local status=$?
    printf '%s\n' "$output" >&2
    return "$status"
  }
}

# missing COMMAND_OR_FILE:PACKAGE ...: prints the packages of what is missing.
missing() {
  local item what
  for item in "$@"; do
    what=${item%:*}
    if [[ $what == /* ]]; then
      [[ -e $what ]] || echo "${item##*:}"
    else
      command -v "$what" >/dev/null || echo "${item##*:}"
    fi
  done
}

# as_root COMMAND [ARGUMENT ...]: fails where that would take a password.
as_root() {
  local sudo=(sudo -n)
  if ((EUID == 0)); then sudo=(); fi
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive "$@"
}

# install_packages PACKAGE ...: installs Debian packages when it may.
install_packages() {
  command -v apt-get >/dev/null && as_root true 2>/dev/null || return 1
  echo "Installing $*"
  quietly as_root apt-get update &&
    quietly as_root apt-get install -y --no-install-recommends "$@"
}

# need COMMAND_OR_FILE:PACKAGE ...: installs the Debian packages of what is
# missing when it may, or tells how to install them and exits.
need() {
  local packages
  read -rd '' -a packages <<<"$(missing "$@")" || true # needs no /proc
  if ((${#packages[@]} == 0)) || install_packages "${packages[@]}"; then return; fi
  echo "These Debian packages are missing: ${packages[*]}" >&2
  echo "As root: apt-get update && apt-get install ${packages[*]}" >&2
  exit 1
}

# codename: of this Debian, for new systems of the same.
codename() {
  sed -n 's/^VERSION_CODENAME=//p' /etc/os-release
}

# want COMMAND_OR_FILE:PACKAGE ...: likewise, but goes on without them.
want() {
  local packages
  read -rd '' -a packages <<<"$(missing "$@")" || true # needs no /proc
  if ((${#packages[@]} == 0)) || install_packages "${packages[@]}"; then return; fi
  echo "Left out is what needs these packages: ${packages[*]}" >&2
}

# What the tool is built with.
tool_headers=(/usr/include/CLI/CLI.hpp:libcli11-dev
  /usr/include/nlohmann/json.hpp:nlohmann-json3-dev
  /usr/include/csv.h:libcsv-dev /usr/include/utf8proc.h:libutf8proc-dev
  /usr/include/archive.h:libarchive-dev)

# need_tools PRESET: what it takes to build a preset, and the tool with its
# tests where that can be had.
need_tools() {
  local tools=(cmake:cmake make:make g++:g++
    /usr/include/gtest/gtest.h:libgtest-dev)
  if [[ $1 == clang ]]; then tools+=(clang++:clang); fi
  need "${tools[@]}"
  want "${tool_headers[@]}" cram3:python3-cram mandoc:mandoc
}

# For cmake's configuring: the libraries and nothing else.
# shellcheck disable=SC2034 # the scripts use it
libraries_alone=(-DKIVDB_TESTS=OFF -DKIVDB_TOOLS=OFF -DKIVDB_EXAMPLES=OFF
  -DKIVDB_BENCH=OFF)

# configure PRESET [CMAKE_ARGUMENT ...]: configures build/PRESET.
configure() {
  (cd "$project" && cmake --preset "$@")
}

# build PRESET TARGET: builds one target of a configured preset.
build() {
  cmake --build "$project/build/$1" --target "$2" --parallel "$(nproc)"
}

# copy_sources DIRECTORY: copies what git keeps, as it is now.
copy_sources() {
  mkdir -p "$1"
  (cd "$project" && git ls-files -z | xargs -0 cp --parents -t "$1")
}

# sources_state: tells one state of what git keeps from another.
sources_state() {
  (cd "$project" && git ls-files -z | xargs -0 sha256sum | sha256sum)
}

need_packaging() {
  need_tools release
  need git:git dh:debhelper dpkg-buildpackage:dpkg-dev fakeroot:fakeroot
}

# build_packages DIRECTORY OPTIONS [COMMAND ...]: builds the Debian packages of
# the sources, in kivdb below the directory, with these DEB_BUILD_OPTIONS, by
# this command, dpkg-buildpackage unless given.
build_packages() {
  local profiles=
  if [[ $2 == *nocheck* ]]; then profiles=nocheck; fi
  rm -rf "$1"
  copy_sources "$1/kivdb"
  chmod -R u=rwX,go=rX "$1/kivdb" # the source package keeps modes
  (
    cd "$1/kivdb" || exit
    DEB_BUILD_OPTIONS="$2 parallel=$(nproc)" DEB_BUILD_PROFILES=$profiles \
      quietly "${@:3}" dpkg-buildpackage --unsigned-source --unsigned-changes
  )
  rm -rf "$1/kivdb"
  sources_state >"$1/state"
}

# run_tests PRESET [CTEST_ARGUMENT ...]: runs the tests of a built preset.  The
# last line counts them: "N passed, N failed".
run_tests() {
  local directory=$project/build/$1 status=0 failed skipped
  local results=$directory/results.xml
  # The tests' directories go even when a test was killed.
  export TMPDIR=$directory/tmp
  rm -rf "$results" "$TMPDIR"
  mkdir "$TMPDIR"
  # A run path of a program is found by way of /proc.
  if [[ ! -e /proc/self ]]; then export LD_LIBRARY_PATH=$directory; fi
  ctest --test-dir "$directory" --parallel "$(nproc)" --timeout 120 \
    --no-tests=error --output-on-failure --output-junit "$results" "${@:2}" ||
    status=$?
  rm -rf "$TMPDIR"
  grep -h "left out without" "$directory/Testing/Temporary/LastTest.log" || true

  failed=$(count_tests failures "$results")
  skipped=$(($(count_tests skipped "$results") +
    $(count_tests disabled "$results")))
  echo "$(($(count_tests tests "$results") - failed - skipped)) passed," \
    "$failed failed"
  return "$status"
}

# count_tests NAME RESULTS: a number that ctest tells of its test suite.
count_tests() {
  sed -n "/<testsuite/,/>/s/.*\b$1=\"\([0-9]*\)\".*/\1/p" "$2"
}

# put_figures SCRIPT PAGE FILE: puts the file between the marks in the page where
# it says that the script writes.
put_figures() {
  local begin="<!-- $1 writes this. -->" end='<!-- Up to here. -->'
  if (($(grep -cFx -e "$begin" -e "$end" "$2") != 2)); then
    echo "${2#"$project/"} has no place for it" >&2
    return 1
  fi
  sed -i -e "\|^$begin\$|,\|^$end\$|{//!d}" -e "\|^$begin\$|r $3" "$2"
}
