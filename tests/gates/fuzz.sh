#!/usr/bin/env bash
# Runs every fuzz target of a build for some seconds, starting from its kept corpus: fuzz.sh BUILD SECONDS JOBS
# New inputs that a target finds worth keeping stay in the build; so does the input of a crash, whose name is printed.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$1 seconds=$2 jobs=$3

run_one() {
    local target=$1 name found
    name=${target##*/fuzz_}
    found=$build/fuzz-found/$name
    mkdir -p "$found"
    if ! "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$found/" "$found" "fuzz/corpus/$name" >"$found.log" 2>&1; then
        tail -40 "$found.log"
        return 1
    fi
    echo "$name: $(sed -n 's/^stat::number_of_executed_units: *//p' "$found.log") inputs"
}
export -f run_one
export build seconds
printf '%s\n' "$build"/bin/fuzz_* | xargs -P "$jobs" -I{} bash -c 'run_one {}'
