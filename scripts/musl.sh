#!/usr/bin/env bash
# Builds the library with musl and runs its tests: scripts/musl.sh [ARGUMENT ...]
# The arguments go to cmake's configuring.  Debian has no C++ library for musl, so
# that of g++ is built first, from its sources.  The tool is left out, as Debian has
# none of its libraries for musl.  The last line is that of test.sh.
#
# torture_cancel and FaultTest.CancellingAnywhereLeavesNothingBehind are not run: see
# "With musl" in docs/threads.md.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

root=$project/build/musl-root
work=$project/build/musl-work
toolchain=$project/cmake/musl.cmake
specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs
sources=/usr/src/gcc-12/gcc-12.2.0-dfsg.tar.xz

# make_library: the C++ library, in $root.
make_library() {
  mkdir -p "$work/gcc" "$work/library"
  tar -x -f "$sources" -C "$work/gcc" --strip-components=1 --wildcards \
    '*/libstdc++-v3' '*/libgcc' '*/include' '*/config*' '*/libiberty' \
    '*/install-sh' '*/ltmain.sh' '*/missing' '*/mkinstalldirs' \
    '*/move-if-change' '*/gcc/BASE-VER' '*/gcc/DATESTAMP' '*/gcc/DEV-PHASE'
  cp "$work/gcc/libgcc/gthr-posix.h" "$work/gcc/libgcc/gthr-default.h"
  cd "$work/library"
  quietly "$work/gcc/libstdc++-v3/configure" --host=x86_64-linux-musl \
    --build=x86_64-linux-gnu --prefix="$root" --disable-multilib \
    --disable-nls --disable-libstdcxx-pch \
    --with-gxx-include-dir="$root/include/c++" \
    CC="gcc -specs=$specs" CXX="g++ -specs=$specs"
  quietly make --jobs="$(nproc)" install
  # Once more, with the unwinder.
  gcc -specs="$specs" -shared -fPIC -O2 -Wl,--eh-frame-hdr \
    -Wl,-soname,libstdc++.so.6 src/.libs/*.o -Wl,--whole-archive \
    src/.libs/libstdc++convenience.a -Wl,--no-whole-archive \
    "$project/cmake/musl_unwind.c" -o "$(readlink -f "$root/lib/libstdc++.so")"
}

make_googletest() {
  quietly cmake -S /usr/src/googletest -B "$work/googletest" --toolchain "$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$root"
  quietly cmake --build "$work/googletest" --parallel "$(nproc)" \
    --target install
}

need_tools musl
need musl-gcc:musl-tools "$sources:gcc-12-source" xz:xz-utils \
  /usr/src/googletest:googletest
if [[ ! -e $root/made ]]; then
  echo "Building the C++ library and GoogleTest for musl"
  rm -rf "$root" "$work"
  (make_library)
  make_googletest
  rm -rf "$work"
  touch "$root/made"
fi

configure musl "$@"
build musl all
run_tests musl --exclude-regex 'CancellingAnywhere|torture_cancel'
