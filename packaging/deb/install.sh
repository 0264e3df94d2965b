#!/bin/sh
# Runs inside a clean root: installs the packages, tests them as debian/tests/control says, and purges them. First what
# runs, without any compiler; then what is for developers. /packages holds the packages, /tree the source tree.
set -eu
export DEBIAN_FRONTEND=noninteractive

# Every file but those of package management itself, which keeps logs and indices.
files() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /run -o -path /var/cache -o \
    -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune -o ! -type d -print | LC_ALL=C sort
}

# quietly COMMAND...: its output matters only when it fails.
quietly() {
  "$@" >/tmp/quiet.log 2>&1 || { cat /tmp/quiet.log; exit 1; }
}

packages() { quietly apt-get -qq -o DPkg::Options::=--force-unsafe-io "$@"; }

# run TEST...: in a directory of its own, as the test's control file promises.
run() {
  for name; do
    AUTOPKGTEST_TMP=$(mktemp -d)
    export AUTOPKGTEST_TMP
    (cd /tree && quietly sh -eux "debian/tests/$name") || { echo "$name failed"; exit 1; }
  done
}

purge() {
  # shellcheck disable=SC2046
  packages purge $(dpkg-query -W -f '${Package}\n' '*zelk*')
  packages autoremove --purge
}

packages update
files >/tmp/before
packages install --no-install-recommends /packages/libmurn-zelk1_*.deb \
  /packages/libzelk-insight1_*.deb /packages/zelk_*.deb /packages/murn-zelk-doc_*.deb
run tool
purge
files >/tmp/after
diff /tmp/before /tmp/after

packages install --no-install-recommends cmake g++ make pkg-config \
  /packages/libmurn-zelk1_*.deb /packages/libzelk-insight1_*.deb /packages/libzelk-arrow1_*.deb \
  /packages/libmurn-zelk-dev_*.deb
run cmake pkg-config
packages purge libmurn-zelk-dev libmurn-zelk1 libzelk-insight1 libzelk-arrow1
left=$(dpkg-query -W '*zelk*' 2>/dev/null || true; find / -xdev \( -path /proc -o -path /sys -o \
  -path /packages -o -path /tree -o -path /tmp -o -path /var/log -o -path /var/lib/apt \) -prune -o -name '*zelk*' -print)
[ -z "$left" ] || { echo "left after purging: $left"; exit 1; }
