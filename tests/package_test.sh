#!/bin/sh
# Checks the Debian packages of DIRECTORY, which were built in DIRECTORY/source/build: lintian finds
# nothing, and unpacked into an empty root they pass install_test.sh.
# Usage: package_test.sh DIRECTORY
set -eu
packages=$(cd "$1" && pwd) build=$packages/source/build work=$packages/test
tests=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir "$work"
lintian --allow-root --fail-on error,warning "$packages"/*.changes

for package in "$packages"/*.deb; do
    dpkg-deb -x "$package" "$work/root"
done
libdir=$(dirname "$(find "$work/root" -name libmerlo64f.so)")
version=$(dpkg-parsechangelog -l "$packages/source/debian/changelog" -S Version)
grep -qx "Version: $version" "$libdir/pkgconfig/merlo64f.pc" ||
    { echo "debian/changelog says $version, merlo64f.pc $(grep Version "$libdir/pkgconfig/merlo64f.pc")"; exit 1; }

"$tests/install_test.sh" cmake "$build" "$work" cc c++ "$tests/../examples" "$work/root"
if [ -d "$libdir/glibc-hwcaps" ]; then
    "$tests/hwcaps_test.sh" "$build/tests/digests" "$tests/digests.txt" "$libdir" || [ $? -eq 77 ]
fi
