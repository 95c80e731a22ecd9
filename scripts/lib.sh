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

# need COMMAND_OR_FILE:PACKAGE ...: installs the Debian packages of what is
# missing when it may, or tells how to install them and exits.
need() {
  local item what packages=() sudo=()
  for item in "$@"; do
    what=${item%:*}
    if [[ $what == /* ]]; then
      [[ -e $what ]] || packages+=("${item##*:}")
    else
      command -v "$what" >/dev/null || packages+=("${item##*:}")
    fi
  done
  if ((${#packages[@]} == 0)); then return; fi

  local install=(install -y --no-install-recommends "${packages[@]}")
  if ((EUID != 0)); then sudo=(sudo -n); fi
  if ! command -v apt-get >/dev/null || ! "${sudo[@]}" true 2>/dev/null; then
    echo "These Debian packages are missing: ${packages[*]}" >&2
    echo "As root: apt-get update && apt-get ${install[*]}" >&2
    exit 1
  fi
  echo "Installing ${packages[*]}"
  sudo+=(env DEBIAN_FRONTEND=noninteractive)
  quietly "${sudo[@]}" apt-get update &&
    quietly "${sudo[@]}" apt-get "${install[@]}"
}

# need_tools PRESET: what it takes to build a preset.
need_tools() {
  local tools=(cmake:cmake make:make g++:g++
    /usr/include/gtest/gtest.h:libgtest-dev)
  if [[ $1 == clang ]]; then tools+=(clang++:clang); fi
  need "${tools[@]}"
}

# configure PRESET [CMAKE_ARGUMENT ...]: configures build/PRESET.
configure() {
  (cd "$project" && cmake --preset "$@")
}

# build PRESET TARGET: builds one target of a configured preset.
build() {
  cmake --build "$project/build/$1" --target "$2" --parallel "$(nproc)"
}
