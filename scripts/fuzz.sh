#!/usr/bin/env bash
# Runs each fuzz target for FUZZ_SECONDS (60), from its corpus in fuzz/corpus/<target>.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
for program in build/fuzz/bin/*_fuzz; do
    name=$(basename "$program")
    work=$(mktemp -d)
    echo "== $name"
    "$program" -max_total_time="${FUZZ_SECONDS:-60}" -artifact_prefix="$work/" "$work" "fuzz/corpus/${name%_fuzz}"
    rm -rf "$work"
done
