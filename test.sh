#!/usr/bin/env bash
# Configures, builds and tests. Usage:
#   ./test.sh             the native builds: sanitizers, some seconds of fuzzing, clang, gcc
#   ./test.sh bits        both compilers, -O0 to -O3, x86-64 and x86-64-v3, AArch64, s390x (qemu-user)
#   ./test.sh packages    the Debian packages, which lie in build/packages then
#   ./test.sh static      both compilers with warnings as errors, clang-tidy, cppcheck
#   ./test.sh coverage    which lines and branches of src/ the tests reach: all of them, or it fails
#   ./test.sh mutation    how many small faults in src/ the tests find (half an hour)
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

packages_for() { # a preset
    echo build-essential cmake pkg-config libgtest-dev
    case $1 in
        clang*) echo clang ;;
        fuzz) echo clang libclang-rt-14-dev ;;
        coverage) echo clang llvm python3 ;;
        gcc | gcc-v3) echo libsndfile1-dev libbenchmark-dev ;;
        packages) echo libsndfile1-dev dpkg-dev lintian ;;
        aarch64 | s390x) echo "g++-$1-linux-gnu" qemu-user googletest ;;
    esac
}

run_presets() {
    local preset
    need_packages $(for preset in "$@"; do packages_for "$preset"; done | tr ' ' '\n' | sort -u)
    for preset in "$@"; do
        echo "== $preset"
        quietly "build/$preset.log" cmake --preset "$preset"
        quietly "build/$preset.log" cmake --build "build/$preset" --parallel "$(nproc)"
        ctest --test-dir "build/$preset" --parallel "$(nproc)" --output-on-failure --no-tests=error
    done
}

read_statically() {
    local compiler tree
    need_packages $(for compiler in gcc clang; do packages_for "$compiler"; done) clang-tidy cppcheck
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
}

measure_coverage() {
    rm -rf build/coverage/profiles
    export LLVM_PROFILE_FILE=$PWD/build/coverage/profiles/%2m.profraw
    run_presets coverage
    tools/coverage.py build/coverage
}

case $* in
    "") run_presets sanitize fuzz clang gcc ;;
    bits)
        run_presets aarch64 s390x \
            {clang,gcc}{-O0,-O0-v3,-O1,-O1-v3,-O2,-O2-v3,-v3,}
        ;;
    static) read_statically ;;
    coverage) measure_coverage ;;
    mutation)
        run_presets gcc-O1 gcc-O1-v3 sanitize
        tools/mutate.py
        ;;
    *) run_presets "$@" ;;
esac
