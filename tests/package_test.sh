#!/bin/sh
# Makes the Debian packages, unpacks them into an empty root, and holds that against what an installed
# tree must be good for. Usage: as install_test.sh, without a ROOT
set -eu
cmake=$1 build=$2 work=$3
tests=$(dirname "$0")
rm -rf "$work" "$build"/*.deb
mkdir "$work"
"$(dirname "$cmake")/cpack" --config "$build/CPackConfig.cmake" -B "$build" >/dev/null
if command -v lintian >/dev/null; then
    lintian --allow-root --fail-on error,warning "$build"/*.deb
fi
for package in "$build"/*.deb; do
    dpkg-deb -x "$package" "$work/root"
done
"$tests/install_test.sh" "$@" "$work/root"
libdir=$(dirname "$(find "$work/root" -name libmerlo64f.so)")
if [ -d "$libdir/glibc-hwcaps" ]; then
    "$tests/hwcaps_test.sh" "$build/tests/digests" "$tests/digests.txt" "$libdir" || [ $? -eq 77 ]
fi
