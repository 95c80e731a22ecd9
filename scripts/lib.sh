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

# install_packages PACKAGE ...: installs Debian packages when it may.
install_packages() {
  local sudo=()
  if ((EUID != 0)); then sudo=(sudo -n); fi
  command -v apt-get >/dev/null && "${sudo[@]}" true 2>/dev/null || return 1
  echo "Installing $*"
  sudo+=(env DEBIAN_FRONTEND=noninteractive)
  quietly "${sudo[@]}" apt-get update &&
    quietly "${sudo[@]}" apt-get install -y --no-install-recommends "$@"
}

# need COMMAND_OR_FILE:PACKAGE ...: installs the Debian packages of what is
# missing when it may, or tells how to install them and exits.
need() {
  local packages
  mapfile -t packages < <(missing "$@")
  if ((${#packages[@]} == 0)) || install_packages "${packages[@]}"; then return; fi
  echo "These Debian packages are missing: ${packages[*]}" >&2
  echo "As root: apt-get update && apt-get install ${packages[*]}" >&2
  exit 1
}

# want COMMAND_OR_FILE:PACKAGE ...: likewise, but goes on without them.
want() {
  local packages
  mapfile -t packages < <(missing "$@")
  if ((${#packages[@]} == 0)) || install_packages "${packages[@]}"; then return; fi
  echo "Left out is what needs these packages: ${packages[*]}" >&2
}

# need_tools PRESET: what it takes to build a preset, and the tool with its
# tests where that can be had.
need_tools() {
  local tools=(cmake:cmake make:make g++:g++
    /usr/include/gtest/gtest.h:libgtest-dev)
  if [[ $1 == clang ]]; then tools+=(clang++:clang); fi
  need "${tools[@]}"
  want /usr/include/CLI/CLI.hpp:libcli11-dev \
    /usr/include/nlohmann/json.hpp:nlohmann-json3-dev \
    /usr/include/csv.h:libcsv-dev /usr/include/utf8proc.h:libutf8proc-dev \
    /usr/include/archive.h:libarchive-dev \
    cram3:python3-cram mandoc:mandoc
}

# configure PRESET [CMAKE_ARGUMENT ...]: configures build/PRESET.
configure() {
  (cd "$project" && cmake --preset "$@")
}

# build PRESET TARGET: builds one target of a configured preset.
build() {
  cmake --build "$project/build/$1" --target "$2" --parallel "$(nproc)"
}
