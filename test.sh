#!/usr/bin/env bash
# ./test.sh        builds everything and runs all tests
# ./test.sh --all  the same, then every gate: clang-tidy, format, both compilers, sanitizers, fuzzing, benchmarks
# Each stage reports its time and its budget, in minutes on two cores; a run of 40 minutes fails.
set -euo pipefail
cd "$(dirname "$0")"

all=false
packages=test
walked_below=()
case "${1:-}" in
    "") ;;
    --all) all=true packages=all walked_below=(-E FaultWalk) ;; # with a stage of its own
    *) sed -n '2,3s/^# //p' "$0"; exit 2 ;;
esac

./setup.sh "$packages"

jobs=$(nproc)
failed=()
report=()

# stage NAME BUDGET COMMAND...: runs a command and reports its time against its budget (in minutes).
stage() {
    local name=$1 budget=$2 begin=$SECONDS status=0 took verdict
    shift 2
    printf '\n== %s\n' "$name"
    "$@" || status=$?
    took=$((SECONDS - begin))
    verdict=ok
    [ "$took" -le $((budget * 60)) ] || verdict="ok, over its budget"
    [ "$status" -eq 0 ] || { failed+=("$name"); verdict=FAILED; }
    report+=("$(printf '%-28s %4d s of %2d min  %s' "$name" "$took" "$budget" "$verdict")")
}

# build TARGET PRESET [CMAKE ARGUMENT...]
build() {
    cmake --preset "$2" -DWDLT_QUICK_BUILD=ON "${@:3}" >"/tmp/wdlt-configure.$$" || { cat "/tmp/wdlt-configure.$$"; return 1; }
    rm -f "/tmp/wdlt-configure.$$"
    cmake --build --preset "$2" -j "$jobs" --target "$1"
}
run_tests() { ctest --test-dir "build/$1" -j "$((jobs * 2))" --output-on-failure --no-tests=error "${@:2}"; }
rules_and_interface() {
    tests/gates/house_rules.sh && tests/gates/shares.sh && tests/gates/mutations.sh --check && tests/gates/abi.sh build/release &&
        tests/gates/settings.sh build/release/bin/settings_page && tests/gates/schema.sh build/release &&
        tests/gates/operating.sh build/release
}
types_of_python() { tests/gates/python.sh "$PWD/build/release"; }
kill_by_the_thousand() {
    WDLT_KILLS=3000 "$1/process_registry_tests" --gtest_filter='*Kill*' &&
        WDLT_KILLS=8000 timeout 110 "$1/process_rwlock_tests" --gtest_filter='*RandomKills*'
}
# At every third point where a fault can strike, with each commit at others. All of them: WDLT_WALK_STRIDE=1, five minutes.
fault_walk() { WDLT_SEED=$((16#$(git rev-parse --short=7 HEAD))) WDLT_WALK_STRIDE=3 run_tests release -R FaultWalk; }
# Over a tree that is only configured, without the sources that are compiled once more for the tests. In batches: most
# of the time goes into third-party headers, which would be checked again with each source.
tidy() {
    cmake --preset clang -B build/tidy -DWDLT_BUILD_TESTS=OFF -DWDLT_QUICK_BUILD=ON \
        -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=16 >/dev/null && tests/gates/tidy.sh build/tidy "$jobs"
}
each_source() {
    cmake --preset release -B build/each -DWDLT_BUILD_TESTS=OFF -DWDLT_QUICK_BUILD=OFF >/dev/null &&
        tests/gates/each_source.sh build/each "$jobs"
}
# The library for Windows and its tests; both gates wait more than they work, and each has a runtime of its own.
windows() {
    build all windows || return 1
    tests/gates/windows.sh build/release build/windows & local exports=$!
    tests/gates/conformance.sh build/release build/windows/bin/conformance.exe
    local rows=$?
    wait "$exports" && return "$rows"
}
storms() { WDLT_STORM_SECONDS=12 "$1/process_config_tests"; }

stage "build" 6 build all release -DWDLT_BUILD_TESTS=ON
stage "tests" 3 run_tests release "${walked_below[@]}"
stage "rules and interface" 1 rules_and_interface

if $all; then
    stage "kills by the thousand" 2 kill_by_the_thousand build/release/bin
    stage "fault walk" 3 fault_walk
    stage "types of Python" 1 types_of_python
    stage "fleet" 1 tests/gates/fleet.py build/release
    stage "windows" 4 windows
    stage "model" 2 tests/gates/model.sh "$jobs"
    stage "storms" 1 storms build/release/bin
    stage "squid" 1 tests/gates/squid.py build/release
    stage "packages" 2 tests/gates/packages.sh build/release
    stage "format" 1 bash -c "git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format --dry-run --Werror"
    stage "each source" 2 each_source
    stage "clang-tidy" 8 tidy
    # clang's warnings and its thread-safety analysis are errors in this build and the next.
    stage "asan build" 5 build all asan
    stage "asan tests" 3 run_tests asan
    stage "fuzzing" 2 tests/gates/fuzz.sh build/asan 6 "$jobs"
    stage "tsan build" 4 build threaded_tests tsan
    stage "tsan tests" 2 run_tests tsan -L threads
    # In the tree of the release build, where the library is compiled already.
    stage "bench build" 1 build all release -DWDLT_BUILD_BENCH=ON
    stage "benchmarks" 1 bench/report.sh --quick --build build/release
fi

report+=("$(printf '%-28s %4d s of %2d min' "the whole" "$SECONDS" 40)")
[ "$SECONDS" -lt 2400 ] || failed+=("the whole takes too long")

printf '\n'
printf '%s\n' "${report[@]}"
if [ ${#failed[@]} -gt 0 ]; then
    printf '\nfailed: %s\n' "${failed[*]}"
    exit 1
fi
printf '\nall stages passed\n'
