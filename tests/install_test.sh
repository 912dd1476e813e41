#!/bin/sh
# Installs the build, or takes a ROOT with the library under /usr, and builds hosts against that tree
# only: in C and C++ by pkg-config, the README's quick start by find_package, each with the shared and with
# the static library, and the examples if EXAMPLES_DIR is not empty. Without a ROOT the build has compiled
# the examples before, so one of them is enough.
# Usage: install_test.sh CMAKE BUILD_DIR WORK_DIR CC CXX NM EXAMPLES_DIR [ROOT]
# Environment: RUN, the command that runs the hosts, if they do not run by themselves;
# CMAKE_TOOLCHAIN_FILE, for CMake.
set -eu
cmake=$1 build=$2 work=$3 cc=$4 cxx=$5 nm=$6 examples=$7 root=${8-}
if [ -n "$root" ]; then
    tree=$root/usr
else
    rm -rf "$work"
    tree=$work/tree
    "$cmake" --install "$build" --prefix "$tree" >/dev/null
fi
libdir=$(dirname "$(dirname "$(find "$tree" -name merlo64f.pc)")")
export LD_LIBRARY_PATH="$libdir" WINEPATH="$tree/bin"
mkdir -p "$work/by_package"

run() { # PROGRAM, which the Windows compiler has given a suffix
    program=$1
    [ -e "$program" ] || program=$program.exe
    ${RUN-} "$program"
}

flags_for() { # OPTION of pkg-config...
    PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$libdir/pkgconfig pkg-config "$@" --cflags --libs merlo64f
}

build_and_run() { # NAME COMPILER OPTION...
    name=$1
    shift
    "$@" -Wall -Wextra -Wpedantic -Wconversion -Werror "-I$build/tests" -o "$work/$name"
    run "$work/$name"
}
tests=$(dirname "$0")
# shellcheck disable=SC2046
for host in "$build/tests/quick_start.c" "$tests/c99_host.c"; do
    build_and_run "$(basename "$host" .c)" "$cc" -std=c99 "$host" $(flags_for)
    build_and_run "$(basename "$host" .c)_static" "$cc" -std=c99 -static "$host" $(flags_for --static)
done
# shellcheck disable=SC2046
build_and_run cxx_host "$cxx" -std=c++20 "$tests/cxx_host.cpp" $(flags_for)

# Of the static library a host gets the families that it calls.
program=$(find "$work" -maxdepth 1 -name 'quick_start_static*')
families=$("$nm" --defined-only "$program" | sed -nE 's/.* ([a-z]+64f)[A-Z][A-Za-z]*$/\1/p' | sort -u)
[ "$families" = nlms64f ] || { echo "quick_start has code of: $families"; exit 1; }

cat >"$work/by_package/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(host)
find_package(merlo64f 1 REQUIRED)
foreach(library merlo64f merlo64f_static)
  add_executable(by_\${library} $build/tests/quick_start.c)
  target_link_libraries(by_\${library} merlo64f::\${library})
endforeach()
EOT
build_hosts() { # SOURCE_DIR TARGET
    into=$work/hosts/$(basename "$1")
    "$cmake" -S "$1" -B "$into" -DCMAKE_PREFIX_PATH="$tree" --no-warn-unused-cli \
        -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
    "$cmake" --build "$into" --target "$2" --parallel 2 >/dev/null
}
build_hosts "$work/by_package" all
run "$work/hosts/by_package/by_merlo64f"
run "$work/hosts/by_package/by_merlo64f_static"
if [ -n "$examples" ] && [ -n "$root" ]; then
    build_hosts "$examples" all
elif [ -n "$examples" ]; then
    build_hosts "$examples" static_storage
fi
