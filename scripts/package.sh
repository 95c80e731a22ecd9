#!/usr/bin/env bash
# Builds the Debian packages, into build/packages, and tries them:
# scripts/package.sh [--tests]
# lintian looks at them.  They are installed into a new system that holds only
# apt; there the tool is used, its page read, the first program of the README
# built and run, and all of it removed again.  That takes root.  With --tests the
# tests run while the packages are built.

set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

built=$project/build/packages
options=nocheck
if [[ ${1:-} == --tests ]]; then options=; fi

need_packaging
need lintian:lintian mmdebstrap:mmdebstrap unshare:util-linux
as_root true || { echo "This takes root" >&2 && exit 1; }

root=$(mktemp -d)
trap 'as_root rm -rf --one-file-system "$root"' EXIT

# in_namespace COMMAND [ARGUMENT ...]: what it mounts goes with it.
in_namespace() {
  as_root unshare --mount --propagation private "$@"
}

make_root() {
  quietly in_namespace mmdebstrap --variant=apt --skip=cleanup/apt \
    "$(codename)" "$root"
}

# The version stands in two places.
check_version() {
  local version
  version=$(sed -n 's/^#define KIVDB_VERSION_[MP][A-Z]* //p' \
    "$project/include/kivdb/version.h" | paste -sd .)
  if ! head -n 1 "$project/debian/changelog" | grep -qF "kivdb ($version)"; then
    echo "debian/changelog does not begin with version $version" >&2
    return 1
  fi
}

# Its first upload closes no bug.
look_at_packages() {
  lintian --allow-root --fail-on error,warning \
    --suppress-tags initial-upload-closes-no-bugs "$built"/*.changes
}

# Everything in the new system that is called after this project, but for what
# man keeps of the pages that it has shown.
leftovers() {
  as_root find "$root" -xdev \( -path "$root/trial" -o -path '*/cache/man' \) \
    -prune -o -iname '*kivdb*' -print
}

try_packages() {
  as_root mkdir "$root/trial"
  as_root cp -r "$built"/*.deb "$project/debian/tests" "$project/examples" \
    "$project/README.md" "$root/trial"
  in_namespace sh -c "mount -t proc proc '$root/proc' &&
    exec env -i PATH='$PATH' HOME=/root LC_ALL=C.UTF-8 \
      DEBIAN_FRONTEND=noninteractive chroot '$root' sh -eu" <<'TRIAL'
cd /trial
apt() {
  apt-get -y -o Dpkg::Use-Pty=0 -o Dpkg::Options::=--force-unsafe-io "$@" \
    >log 2>&1 </dev/null || { cat log; exit 1; }
}
echo "Installed:" *.deb
apt install ./*.deb
sh tests/tool </dev/null
apt install --no-install-recommends man-db g++ cmake make pkgconf
man kivdb </dev/null | grep -A 1 NAME
sh tests/consumer </dev/null
apt purge kivdb-tools kivdb-doc libkivdb-dev libkivdb1
TRIAL
  if leftovers | grep .; then
    echo "is left of the packages" >&2
    return 1
  fi
  echo "Removed, and nothing is left"
}

check_version
make_root &
making=$!
build_packages "$built" "$options"
look_at_packages
wait "$making"
try_packages
ls "$built"
