#!/bin/sh
# Installs the build and builds the README's quick start against the installed tree alone, once by
# pkg-config and once by find_package. Usage: install_test.sh CMAKE BUILD_DIR WORK_DIR CC
set -eu
cmake=$1 build=$2 work=$3 cc=$4
rm -rf "$work"
mkdir -p "$work/by_package"
"$cmake" --install "$build" --prefix "$work/root" >/dev/null
libdir=$(dirname "$(find "$work/root" -name libmerlo64f.so)")

PKG_CONFIG_PATH="$libdir/pkgconfig"
export PKG_CONFIG_PATH
pkg-config --define-variable=prefix="$work/root" --exists merlo64f
# shellcheck disable=SC2046
"$cc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$build/tests/quick_start.c" -o "$work/by_pkgconfig" \
    $(pkg-config --define-variable=prefix="$work/root" --cflags --libs merlo64f)
LD_LIBRARY_PATH=$libdir "$work/by_pkgconfig"

cat >"$work/by_package/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(host C)
find_package(merlo64f 1 REQUIRED)
add_executable(host $build/tests/quick_start.c)
target_link_libraries(host merlo64f::merlo64f)
EOT
"$cmake" -S "$work/by_package" -B "$work/by_package/build" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_PREFIX_PATH="$work/root" >/dev/null
"$cmake" --build "$work/by_package/build" >/dev/null
"$work/by_package/build/host"
