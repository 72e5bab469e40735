#!/usr/bin/env bash
# Runs every benchmark of a build briefly, to see that they work and to print their ratios: bench.sh BUILD
# No figure fails it, since the machine may be busy.
set -euo pipefail
for program in "$1"/bin/*_bench; do
    printf '\n-- %s\n' "${program##*/}"
    "$program" --benchmark_min_time=0.1 --benchmark_color=false 2>/dev/null
done
