#!/usr/bin/env bash
# Configures, builds and tests. Usage:
#   ./test.sh             the native builds: sanitizers, clang, gcc
#   ./test.sh bits        both compilers, -O0 to -O3, x86-64 and x86-64-v3, AArch64, s390x (qemu-user)
#   ./test.sh packages    the Debian packages, which lie in build/packages then
#   ./test.sh PRESET...   builds of CMakePresets.json by name
set -euo pipefail
cd "$(dirname "$0")"
. cmake/packages.sh

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
    mkdir -p build
    cmake --preset "$preset" >"build/$preset.log" 2>&1 || { cat "build/$preset.log"; exit 1; }
    cmake --build "build/$preset" --parallel "$(nproc)" >"build/$preset.log" 2>&1 || { cat "build/$preset.log"; exit 1; }
    ctest --test-dir "build/$preset" --parallel "$(nproc)" --output-on-failure --no-tests=error
done
