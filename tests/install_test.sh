#!/bin/sh
# Installs the build, or takes a ROOT with the library under /usr, and builds hosts against that tree
# only: in C by pkg-config, the README's quick start by find_package, and the examples if EXAMPLES_DIR is
# not empty. Without a ROOT the build has compiled the examples before, so one of them is enough.
# Usage: install_test.sh CMAKE BUILD_DIR WORK_DIR CC CXX EXAMPLES_DIR [ROOT]
set -eu
cmake=$1 build=$2 work=$3 cc=$4 cxx=$5 examples=$6 root=${7-}
if [ -n "$root" ]; then
    tree=$root/usr
else
    rm -rf "$work"
    tree=$work/tree
    "$cmake" --install "$build" --prefix "$tree" >/dev/null
fi
libdir=$(dirname "$(find "$tree" -name libmerlo64f.so)")
export LD_LIBRARY_PATH="$libdir"
mkdir -p "$work/by_package"

flags=$(PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$libdir/pkgconfig \
    pkg-config --cflags --libs merlo64f)
for host in "$build/tests/quick_start.c" "$(dirname "$0")/c99_host.c"; do
    # shellcheck disable=SC2086
    "$cc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$host" -o "$work/by_pkgconfig" \
        "-I$build/tests" $flags
    "$work/by_pkgconfig"
done

cat >"$work/by_package/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(host)
find_package(merlo64f 1 REQUIRED)
add_executable(host $build/tests/quick_start.c)
target_link_libraries(host merlo64f::merlo64f)
EOT
build_hosts() { # SOURCE_DIR TARGET
    "$cmake" -S "$1" -B "$work/hosts/$2" -DCMAKE_PREFIX_PATH="$tree" --no-warn-unused-cli \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
    "$cmake" --build "$work/hosts/$2" --target "$2" --parallel 2 >/dev/null
}
build_hosts "$work/by_package" host
"$work/hosts/host/host"
if [ -n "$examples" ] && [ -n "$root" ]; then
    build_hosts "$examples" all
elif [ -n "$examples" ]; then
    build_hosts "$examples" static_storage
fi
