#!/usr/bin/env bash
# bench/report.sh [--runs N] [--build DIR]    runs all benchmarks in turn, N times (5), and writes the tables and
#                                             pictures of docs/performance.md; builds the preset bench without DIR
# bench/report.sh --quick [--build DIR]       one brief round, written nowhere; fails where a row lacks its benchmark
# bench/report.sh [...] PROGRAM...            these alone (switch_bench), printed and written nowhere
# A round runs each program once, so that what disturbs the machine for a while doesn't strike one of them alone. The
# results stay in DIR/report: bench/report.py makes the document of them anew when only words have changed.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=5
build=
quick=false
programs=()
while [ $# -gt 0 ]; do
    case "$1" in
        --runs) runs=${2:?} && shift ;;
        --build) build=${2:?} && shift ;;
        --quick) quick=true ;;
        -*) sed -n '2,7s/^# //p' "$0" && exit 2 ;;
        *) programs+=("$1") ;;
    esac
    shift
done

if [ -z "$build" ]; then
    build=build/bench
    cmake --preset bench >/dev/null
    cmake --build --preset bench -j "$(nproc)"
fi

document=(docs/performance.md)
results=$build/report
options=()
if $quick || [ ${#programs[@]} -gt 0 ]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    results=$work/results
fi
if $quick; then
    runs=1
    options=(--benchmark_min_time=0.05)
    cp docs/performance.md "$work"
    document=("$work/performance.md")
fi
if [ ${#programs[@]} -gt 0 ]; then
    document=()
else
    programs=("$build"/bin/*_bench)
fi

rm -rf "$results"
for ((run = 1; run <= runs; ++run)); do
    folder=$results/$(printf '%03d' "$run")
    mkdir -p "$folder"
    python3 -B bench/report.py --machine "$build" >"$folder/machine.json"
    for program in "${programs[@]}"; do
        name=${program##*/}
        echo "round $run of $runs: $name" >&2
        "$build/bin/$name" "${options[@]}" --benchmark_out="$folder/$name.json" --benchmark_out_format=json >"$folder/$name.log" 2>&1 ||
            { cat "$folder/$name.log" && exit 1; }
    done
done
python3 -B bench/report.py "$results" "${document[@]}"
