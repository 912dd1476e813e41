#!/usr/bin/env bash
# Configures, builds and tests. Usage:
#   ./test.sh             the native builds: sanitizers, some seconds of fuzzing, clang, gcc
#   ./test.sh bits        both compilers, -O0 to -O3, x86-64 and x86-64-v3, and AArch64 under qemu-user
#   ./test.sh packages    the Debian packages, which lie in build/packages then
#   ./test.sh coverage    which lines and branches of src/ the tests reach: all of them, or it fails
#   ./test.sh mutation    how many small faults in src/ the tests find (an hour or two)
#   ./test.sh PRESET...   builds of CMakePresets.json by name
set -euo pipefail
cd "$(dirname "$0")"
. cmake/packages.sh

presets=("$@")
if [ $# -eq 0 ]; then
    presets=(sanitize fuzz clang gcc)
elif [ "$*" = mutation ]; then
    presets=(gcc-O1 gcc-O1-v3 sanitize)
elif [ "$*" = bits ]; then
    presets=(aarch64)
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
        fuzz) packages+=(clang libclang-rt-14-dev) ;;
        gcc | gcc-v3) packages+=(libsndfile1-dev libbenchmark-dev) ;;
        packages) packages+=(libsndfile1-dev dpkg-dev lintian) ;;
        coverage) packages+=(clang llvm python3) ;;
        aarch64) packages+=(g++-aarch64-linux-gnu qemu-user googletest) ;;
    esac
done
need_packages "${packages[@]}"

for preset in "${presets[@]}"; do
    echo "== $preset"
    left_out=()
    if [ "$preset" = coverage ]; then
        left_out=(--exclude-regex '^exports$') # the counters are exported too
        rm -rf build/coverage/profiles
        export LLVM_PROFILE_FILE=$PWD/build/coverage/profiles/%2m.profraw
    fi
    mkdir -p build
    cmake --preset "$preset" >"build/$preset.log" 2>&1 || { cat "build/$preset.log"; exit 1; }
    cmake --build "build/$preset" --parallel "$(nproc)" >"build/$preset.log" 2>&1 || { cat "build/$preset.log"; exit 1; }
    ctest --test-dir "build/$preset" --parallel "$(nproc)" --output-on-failure --no-tests=error \
        "${left_out[@]}"
    if [ "$preset" = coverage ]; then
        tools/coverage.py build/coverage
    fi
done
if [ "$*" = mutation ]; then
    tools/mutate.py
fi
