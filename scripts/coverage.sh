#!/usr/bin/env bash
# Runs the tests with coverage counters and prints line and branch coverage of each folder (needs gcovr).
set -euo pipefail
cd "$(dirname "$0")/.."
command -v gcovr >/dev/null || { echo "coverage: install the package gcovr" >&2; exit 1; }
cmake --preset coverage >/dev/null
cmake --build --preset coverage
ctest --test-dir build/coverage -j "$(nproc)" -LE house --output-on-failure || true
gcovr -r . --object-directory build/coverage -f 'inf/' -f 'sup/' -f 'ter/' -f 'platform/' -f 'remote_clients/' \
    --exclude-throw-branches --print-summary
