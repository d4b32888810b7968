#!/usr/bin/env bash
# Builds the libraries and the program with the second compiler, warnings being errors.
#     scripts/clang_build.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
CC=clang-14 CXX=clang++-14 cmake -G Ninja -B "$1" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DVELA_TESTS=OFF \
    -S . >/dev/null
cmake --build "$1"
