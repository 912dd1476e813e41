#!/bin/sh
# Installs the build, unless an installed TREE is given, and builds hosts against the tree alone: in C
# by pkg-config, the README's quick start by find_package, and the examples if there are any.
# Usage: install_test.sh CMAKE BUILD_DIR WORK_DIR CC CXX EXAMPLES_DIR [TREE]
set -eu
cmake=$1 build=$2 work=$3 cc=$4 cxx=$5 examples=$6 tree=${7-$3/tree}
if [ $# -lt 7 ]; then
    rm -rf "$work"
    "$cmake" --install "$build" --prefix "$tree" >/dev/null
fi
libdir=$(dirname "$(find "$tree" -name libmerlo64f.so)")
export LD_LIBRARY_PATH="$libdir" PKG_CONFIG_PATH="$libdir/pkgconfig"
mkdir -p "$work/by_package"

for host in "$build/tests/quick_start.c" "$(dirname "$0")/c99_host.c"; do
    # shellcheck disable=SC2046
    "$cc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$host" -o "$work/by_pkgconfig" \
        "-I$build/tests" $(pkg-config --cflags --libs merlo64f)
    "$work/by_pkgconfig"
done

cat >"$work/by_package/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(host)
find_package(merlo64f 1 REQUIRED)
add_executable(host $build/tests/quick_start.c)
target_link_libraries(host merlo64f::merlo64f)
EOT
for sources in "$work/by_package" $examples; do
    "$cmake" -S "$sources" -B "$work/$(basename "$sources").build" -DCMAKE_PREFIX_PATH="$tree" \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
    "$cmake" --build "$work/$(basename "$sources").build" --parallel 2 >/dev/null
done
"$work/by_package.build/host"
