#!/usr/bin/env bash
# Configures, builds and tests. Usage:
#   ./test.sh             the native builds: sanitizers, clang, gcc
#   ./test.sh bits        both compilers, -O0 to -O3, x86-64 and x86-64-v3, AArch64, s390x (qemu-user)
#   ./test.sh packages    the Debian packages, which lie in build/packages then
#   ./test.sh static      both compilers with warnings as errors, clang-tidy, cppcheck
#   ./test.sh PRESET...   builds of CMakePresets.json by name
set -euo pipefail
cd "$(dirname "$0")"
. cmake/packages.sh

quietly() { # LOG COMMAND...; what it says is shown if it fails
    local log=$1
    shift
    mkdir -p build
    "$@" >"$log" 2>&1 || { cat "$log"; exit 1; }
}

if [ "$*" = static ]; then
    need_packages build-essential cmake pkg-config libgtest-dev libsndfile1-dev libbenchmark-dev \
        clang clang-tidy cppcheck
    for compiler in gcc clang; do
        echo "== $("$compiler" --version | sed 1q)"
        tree=build/static-$compiler
        quietly "$tree.log" cmake --preset "$compiler" -B "$tree" \
            -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
        quietly "$tree.log" cmake --build "$tree" --parallel "$(nproc)"
    done
    echo "== clang-tidy, $(clang-tidy --version | sed -n 's/^ *\(.*version.*\)/\1/p')"
    quietly build/clang-tidy.log run-clang-tidy -quiet -j "$(nproc)" -p "$tree" "$PWD/src/"
    echo "== $(cppcheck --version)"
    quietly build/cppcheck.log cppcheck --project="$tree/compile_commands.json" \
        --file-filter='*src/*' --enable=warning,performance,portability --quiet --error-exitcode=1
    echo "no finding"
    exit
fi

presets=("$@")
if [ $# -eq 0 ]; then
    presets=(sanitize clang gcc)
elif [ "$*" = bits ]; then
    presets=(aarch64 s390x)
    for compiler in clang gcc; do
        for level in -O0 -O1 -O2 ""; do
            presets+=("$compiler$level-v3" "$compiler$level")
        done
    done
fi

packages=(build-essential cmake pkg-config libgtest-dev)
for preset in "${presets[@]}"; do
    case $preset in
        clang*) packages+=(clang) ;;
        gcc | gcc-v3) packages+=(libsndfile1-dev libbenchmark-dev) ;;
        packages) packages+=(libsndfile1-dev dpkg-dev lintian) ;;
        aarch64 | s390x) packages+=("g++-$preset-linux-gnu" qemu-user googletest) ;;
    esac
done
need_packages "${packages[@]}"

for preset in "${presets[@]}"; do
    echo "== $preset"
    quietly "build/$preset.log" cmake --preset "$preset"
    quietly "build/$preset.log" cmake --build "build/$preset" --parallel "$(nproc)"
    ctest --test-dir "build/$preset" --parallel "$(nproc)" --output-on-failure --no-tests=error
done
