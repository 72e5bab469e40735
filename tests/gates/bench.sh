#!/usr/bin/env bash
# Runs every benchmark of a build, briefly: that they work, and their ratios for the record: bench.sh BUILD
# No figure fails it: a machine may be busy.
set -euo pipefail
for program in "$1"/bin/*_bench; do
    printf '\n-- %s\n' "${program##*/}"
    "$program" --benchmark_min_time=0.1 --benchmark_color=false 2>/dev/null
done
