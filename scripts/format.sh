#!/usr/bin/env bash
# Formats all C and C++ sources; with --check it changes nothing and fails where something is not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."
tool=$(command -v clang-format-14 || command -v clang-format)
mapfile -d '' files < <(find bench examples fuzz gen include inf platform remote_clients sup ter tests tools \
    -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 | sort -z)
if [ "${1:-}" = --check ]; then
    "$tool" --dry-run -Werror "${files[@]}"
    echo "format: ${#files[@]} files are clean"
else
    "$tool" -i "${files[@]}"
fi
