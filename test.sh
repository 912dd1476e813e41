#!/usr/bin/env bash
# Configures, builds and tests; "./test.sh --help" lists the modes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. cmake/scripts.sh

jobs=$(nproc)
logs=build/logs
presets=(gcc gcc-v3 clang sanitize threads web) # of CMakePresets.json
passed=()

usage() {
    cat <<'EOT'
Usage: ./test.sh [BUILD...]         tests these builds; without a name: sanitize clang gcc, and web if
                                    its tools are installed
       ./test.sh bits [BUILD...]    compares the bits of many builds, or of these
       ./test.sh packages | static | coverage | mutation | docs | page

Builds
  gcc        gcc -O3, examples, benchmark, installation, Python package
  clang      clang -O3
  sanitize   clang with the address and undefined-behaviour sanitizers, and some seconds of fuzzing
  threads    clang with the thread sanitizer
  gcc-v3     as gcc, for x86-64-v3
  web        the npm package, under node
Modes
  bits       gcc and clang, -O0 to -O3, x86-64 and x86-64-v3 (clang-O0, gcc-O3-v3, ...),
             and under emulation: TARGETS; takes longest
  packages   the Debian packages, which remain in build/packages
  static     gcc and clang with warnings as errors, clang-tidy, cppcheck
  coverage   regions and branches of src/ that the tests reach; fails unless all
  mutation   small faults in src/, include/ and support/; fails unless the tests find all
  docs       the documents, headers and examples as HTML, in build/docs/html
  page       the page that shows the filters learning, in build/page, and its tests in Chromium

A build or mode installs the Debian packages that it needs, as root or by sudo without a password;
otherwise it lists them and stops. Logs: build/logs.
EOT
}

python_build="pybind11-dev python3-dev python3-pybind11"
python_tests="mypy python3-hypothesis python3-matplotlib python3-numpy python3-pytest python3-scipy"

target_packages() { # TARGET
    sed -n 's/^# Debian packages: //p' "cmake/targets/$1.cmake"
}

packages_for() { # BUILD or MODE
    echo build-essential cmake pkg-config libgtest-dev
    case $1 in
        clang*) echo clang ;;
        sanitize | threads) echo clang libclang-rt-dev ;;
        gcc | gcc-v3) echo libsndfile1-dev libbenchmark-dev "$python_build" "$python_tests" ;;
        packages) echo debhelper dh-python dpkg-dev lintian libsndfile1-dev python3-pip python3-setuptools \
            python3-wheel "$python_build" "$python_tests" ;;
        static) echo clang clang-tidy cppcheck libsndfile1-dev libbenchmark-dev "$python_build" ;;
        coverage) echo clang libclang-rt-dev llvm python3 ;;
        docs) echo doxygen ;;
        web) target_packages wasm32 ;;
        page)
            target_packages wasm32
            echo chromium libsndfile1-dev
            type -P npm >/dev/null || echo npm # other packages of node contain it
            ;;
        *) [ ! -e "cmake/targets/$1.cmake" ] || target_packages "$1" ;;
    esac
}

need_packages_for() { # BUILD or MODE...
    local name
    # shellcheck disable=SC2046
    need_packages $(for name in "$@"; do packages_for "$name"; done | tr ' ' '\n' | sort -u) || exit 1
}

# ---- Steps

excerpt() { # LOG: what failed in the tests, the errors of the compiler, or else the end
    if grep -q ' tests passed, ' "$1"; then
        grep -vE ' Passed +[0-9.]+ sec|^ +Start +[0-9]+: |^[0-9]+: |^test [0-9]+$|^$' "$1" | tail -n 60
    elif grep -qE 'error: |CMake Error|undefined reference' "$1"; then
        grep -E -A 4 'error: |CMake Error|undefined reference' "$1" | head -n 40
    else
        tail -n 40 "$1"
    fi
}

begin() { # WHAT; sets its log
    printf '%-24s ' "$1"
    what=$1 log=$logs/${1// /-}.log began=$SECONDS
    mkdir -p "$logs"
}

logged() { # COMMAND...
    "$@" >"$log" 2>&1 </dev/null || {
        echo "failed after $(duration $((SECONDS - began)))"
        excerpt "$log"
        echo "failed: $what; its log: $log"
        exit 1
    }
}

end() { echo "$*$(duration $((SECONDS - began)))"; }

step() { # WHAT COMMAND...
    begin "$1"
    shift
    logged "$@"
    end
}

count_tests() { # NAME BUILD_DIR; each case of GoogleTest is a test
    local count skipped
    read -r count skipped < <(awk '
        /^Output:/ { single = 1 }
        /^\[  PASSED  \]/ { passed += $4; single = 0 }
        /^\[  SKIPPED \] [0-9]+ test/ { skipped += $4 }
        /^# pass [0-9]+/ { passed += $3; single = 0 }
        /^# skipped [0-9]+/ { skipped += $3 }
        /^Test Passed/ { passed += single }
        / - .* \(Skipped\)$/ { ++skipped; --passed } # a script of ctest
        END { print passed + 0, skipped + 0 }' "$2/Testing/Temporary/LastTest.log" "$log")
    count="$count test$([ "$count" -eq 1 ] || echo s)"
    passed+=("$1 $count")
    end "$count, $([ "$skipped" -eq 0 ] || echo "$skipped skipped, ")"
}

run_build() { # NAME CMAKE_OPTION...
    local name=$1
    shift
    step "$name configure" cmake -B "build/$name" "$@"
    step "$name build" cmake --build "build/$name" --parallel "$jobs"
    begin "$name test"
    logged ctest --test-dir "build/$name" --parallel "$jobs" --output-on-failure --no-tests=error
    count_tests "$name" "build/$name"
}

run_presets() {
    local preset
    need_packages_for "$@"
    for preset in "$@"; do
        run_build "$preset" --preset "$preset"
    done
}

# ---- The same bits everywhere

matrix() { # names of all builds: targets under emulation, and COMPILER-LEVEL[-INSTRUCTIONS]
    local file compiler level
    for file in cmake/targets/*.cmake; do
        basename "$file" .cmake
    done
    for compiler in clang gcc; do
        for level in O0 O1 O2 O3; do
            echo "$compiler-$level"
            [ "$(uname -m)" != x86_64 ] || echo "$compiler-$level-v3"
        done
    done
}

run_matrix() { # NAME...
    local name compiler level instructions options
    local -A cxx=([clang]=clang++ [gcc]=g++)
    need_packages_for "$@"
    for name in "$@"; do
        options=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DMERLO64F_BUILD_TESTS=ON)
        if [ -e "cmake/targets/$name.cmake" ]; then
            options+=(--toolchain "$PWD/cmake/targets/$name.cmake")
        else
            IFS=- read -r compiler level instructions <<<"$name"
            options+=("-DCMAKE_C_COMPILER=$compiler" "-DCMAKE_CXX_COMPILER=${cxx[$compiler]}"
                "-DCMAKE_C_FLAGS_RELEASE=-$level" "-DCMAKE_CXX_FLAGS_RELEASE=-$level")
            if [ -n "$instructions" ]; then
                options+=("-DCMAKE_C_FLAGS=-march=x86-64-$instructions -mno-fma"
                    "-DCMAKE_CXX_FLAGS=-march=x86-64-$instructions -mno-fma")
            fi
        fi
        run_build "$name" "${options[@]}"
    done
}

# ---- Modes

make_packages() {
    local output=build/packages
    need_packages_for packages
    rm -rf "$output"
    mkdir -p "$output/source" # a copy: packaging leaves files in the tree, and packages beside it
    tar -c --exclude=./build --exclude=./demo-output --exclude=./.git . | tar -x -C "$output/source"
    begin "packages build"
    logged env -C "$output/source" DEB_BUILD_OPTIONS="parallel=$jobs" dpkg-buildpackage -us -uc -b
    count_tests packages "$output/source/build"
    step "packages check" tests/package_test.sh "$output"
    passed+=("$(find "$output" -name '*.deb' -not -name '*-dbgsym_*' | wc -l) packages in $output")
}

check_statically() {
    local compiler tree
    need_packages_for static
    for compiler in gcc clang; do
        tree=build/static-$compiler
        step "static $compiler configure" cmake --preset "$compiler" -B "$tree" \
            -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
        step "static $compiler build" cmake --build "$tree" --parallel "$jobs"
    done
    step "static clang-tidy" run-clang-tidy -quiet -j "$jobs" -p "$tree" "$PWD/src/"
    step "static cppcheck" cppcheck --project="$tree/compile_commands.json" \
        --file-filter='*src/*' --enable=warning,performance,portability --quiet --error-exitcode=1
    passed+=("static without a finding")
}

measure_coverage() {
    rm -rf build/coverage/profiles
    export LLVM_PROFILE_FILE=$PWD/build/coverage/profiles/%2m.profraw
    run_presets coverage
    tools/coverage.py build/coverage
    passed+=("full coverage")
}

run_mutants() {
    run_matrix gcc-O1 gcc-O1-v3
    run_presets sanitize
    tools/mutate.py
    passed+=("mutation")
}

make_docs() {
    need_packages_for docs
    step "docs configure" cmake --preset docs
    step "docs build" cmake --build --preset docs
    passed+=("docs in build/docs/html")
}

test_page() {
    local npm=$PWD/build/web/npm
    need_packages_for page
    mkdir -p "$npm"
    cp web/tools/package.json web/tools/package-lock.json "$npm"
    step "page npm" npm ci --prefix "$npm" --ignore-scripts --no-audit --no-fund
    run_presets web
    step "page build" cmake --build --preset page
    step "page demo configure" cmake -B build/demo -DCMAKE_BUILD_TYPE=Release -DMERLO64F_BUILD_EXAMPLES=ON
    step "page demo build" cmake --build build/demo --parallel "$jobs"
    begin "page test"
    logged env MERLO64F_NPM="$npm" MERLO64F_PACKAGE="$PWD/build/web/web/package" MERLO64F_PAGE="$PWD/build/page" \
        MERLO64F_DEMO="$PWD/build/demo/examples" node --test --test-reporter=tap web/test/page.test.js
    end
    passed+=("the page in build/page, its screenshots in build/page/screenshots")
}

require() { # every word of the first argument is one of the others
    local word words=$1
    shift
    for word in $words; do
        [[ " $* " == *" $word "* ]] || refuse "$word"
    done
}

mode=${1-}
case $mode in
    -h | --help)
        usage | sed "s/TARGETS/$(basename -as .cmake cmake/targets/*.cmake | paste -sd ' ')/"
        exit
        ;;
    bits)
        mapfile -t builds < <(matrix)
        require "${*:2}" "${builds[@]}"
        [ $# -eq 1 ] || builds=("${@:2}")
        run_matrix "${builds[@]}"
        ;;
    packages | static | coverage | mutation | docs | page)
        require "${*:2}"
        case $mode in
            packages) make_packages ;;
            static) check_statically ;;
            coverage) measure_coverage ;;
            mutation) run_mutants ;;
            docs) make_docs ;;
            page) test_page ;;
        esac
        ;;
    "")
        run_presets sanitize clang gcc
        # shellcheck disable=SC2046
        mapfile -t missing < <(missing_packages $(packages_for web))
        if [ ${#missing[@]} -eq 0 ]; then
            run_presets web
        else
            echo "web                      not tested; not installed: ${missing[*]}"
        fi
        ;;
    *)
        require "$*" "${presets[@]}"
        run_presets "$@"
        ;;
esac
printf -v list ', %s' "${passed[@]}"
echo "passed: ${list:2}, in $(duration "$SECONDS")"
