#!/usr/bin/env bash
# Runs every benchmark program of a release build; an argument behind the build directory selects by name.
#     scripts/bench.sh BUILD_DIR [NAME]
set -euo pipefail
build=$1
for program in "$build"/bin/*_bench; do
    [[ $(basename "$program") == *${2:-}* ]] || continue
    echo "== $(basename "$program")"
    "$program" --benchmark_counters_tabular=true
done
