#!/bin/sh
# Runs inside the root of the build: builds the source package and its binary packages twice, in folders, a time zone
# and a file mode mask of their own, and compares all that is shipped. The last part of the folders' paths is the same,
# for dpkg-source writes it into the source package. /source.tar holds the tree; /packages receives the result.
set -eu

build() {
  (umask 022 && mkdir -p "$1" && tar -xf /source.tar -C "$1")
  (cd "$1" && dpkg-buildpackage -us -uc >/tmp/build.log 2>&1) || { cat /tmp/build.log; exit 1; }
}

(umask 022 && TZ=UTC build /build/one/murn-zelk)
(umask 002 && TZ=Asia/Kathmandu build /srv/quite/another/place/murn-zelk)

mkdir /packages
cp /build/one/murn-zelk_* /build/one/*.deb /packages
cd /packages
for file in *.deb *.dsc *.tar.xz; do
  cmp "$file" "/srv/quite/another/place/$file"
done
