#!/usr/bin/env bash
# ./test.sh        builds everything and runs all tests
# ./test.sh --all  the same, then every gate: both compilers, format, clang-tidy, sanitizers, fuzzing, benchmarks
# A stage that takes longer than its budget of minutes fails, so that the whole stays under 40 minutes on two cores.
set -euo pipefail
cd "$(dirname "$0")"

all=false
case "${1:-}" in
    "") ;;
    --all) all=true ;;
    *) sed -n '2,3s/^# //p' "$0"; exit 2 ;;
esac

./setup.sh

jobs=$(nproc)
failed=()
report=()

# stage NAME BUDGET COMMAND...: runs a command, tells what it took of its budget (in minutes).
stage() {
    local name=$1 budget=$2 begin=$SECONDS status=0 took verdict
    shift 2
    printf '\n== %s\n' "$name"
    "$@" || status=$?
    took=$((SECONDS - begin))
    verdict=ok
    [ "$took" -le $((budget * 60)) ] || { verdict="over its budget"; status=1; }
    [ "$status" -eq 0 ] || { failed+=("$name"); [ "$verdict" = ok ] && verdict=FAILED; }
    report+=("$(printf '%-28s %4d s of %2d min  %s' "$name" "$took" "$budget" "$verdict")")
}

build() { # build PRESET [CMAKE ARGUMENT...]
    cmake --preset "$1" "${@:2}" >"/tmp/wdlt-configure.$$" || { cat "/tmp/wdlt-configure.$$"; return 1; }
    rm -f "/tmp/wdlt-configure.$$"
    cmake --build --preset "$1" -j "$jobs"
}
run_tests() { ctest --test-dir "build/$1" -j "$((jobs * 2))" --output-on-failure --no-tests=error "${@:2}"; }

stage "build" 3 build release
stage "tests" 2 run_tests release
stage "house rules" 1 tests/gates/house_rules.sh
stage "interface" 1 tests/gates/abi.sh build/release

if $all; then
    stage "kills by the thousand" 1 env WDLT_KILLS=3000 build/release/bin/process_registry_tests --gtest_filter='*Kill*'
    stage "format" 1 bash -c "git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format --dry-run --Werror"
    stage "clang build" 3 build clang
    stage "clang-tidy" 7 tests/gates/tidy.sh build/clang "$jobs"
    stage "asan build" 4 build asan
    stage "asan tests" 2 run_tests asan
    stage "tsan build" 3 build tsan
    stage "tsan tests" 2 run_tests tsan
    stage "fuzz build" 2 build fuzz
    stage "fuzzing" 2 tests/gates/fuzz.sh build/fuzz 20 "$jobs"
    stage "bench build" 2 build bench
    stage "benchmarks" 2 tests/gates/bench.sh build/bench
fi

printf '\n'
printf '%s\n' "${report[@]}"
if [ ${#failed[@]} -gt 0 ]; then
    printf '\nfailed: %s\n' "${failed[*]}"
    exit 1
fi
printf '\nall stages passed\n'
