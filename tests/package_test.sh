#!/bin/sh
# Checks the Debian packages of DIRECTORY, which were built in DIRECTORY/source/build: lintian finds
# nothing, and unpacked into an empty root they pass install_test.sh. The Python package has the bits of C
# from there, and as pip installs it from the sources.
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

"$tests/install_test.sh" cmake "$build" "$work" cc c++ nm "$tests/../examples" "$work/root"
if [ -d "$libdir/glibc-hwcaps" ]; then
    "$tests/hwcaps_test.sh" "$build/tests/digests" "$tests/digests.txt" "$libdir" || [ $? -eq 77 ]
fi

test_python() { # DIRECTORY of the package merlo64f
    (cd "$work" && PYTHONPATH=$1 LD_LIBRARY_PATH=$libdir /usr/bin/python3 -m pytest -q \
        -p no:cacheprovider "$tests"/../python/tests/test_digests.py "$tests"/../python/tests/test_state.py)
}
test_python "$work/root/usr/lib/python3/dist-packages"
/usr/bin/python3 -m pip install --no-build-isolation --no-deps --no-index --root-user-action=ignore \
    --target "$work/pip" "$packages/source"
libdir=/nonexistent # the package contains the library
test_python "$work/pip"
