#!/usr/bin/env bash
# Runs clang-tidy over the library and the program. A source that was clean is not looked at again until it, a header
# or the configuration changes.
#     scripts/tidy.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
export TIDY=$(command -v clang-tidy-14 || command -v clang-tidy) BUILD=$build STAMPS=$build/tidy
mkdir -p "$STAMPS"
STATE=$( (cat .clang-tidy tools/.clang-tidy gen/.clang-tidy; find include platform inf sup ter remote_clients gen tools -name '*.h' -print0 |
    sort -z | xargs -0 cat) | sha256sum | cut -c1-16)
export STATE
check() {
    stamp=$STAMPS/$(echo "$1" | tr / _).$(cat "$1" <(echo "$STATE") | sha256sum | cut -c1-16)
    [ -e "$stamp" ] && return 0
    if "$TIDY" --quiet -p "$BUILD" "$1" 2>/dev/null; then touch "$stamp"; else echo "tidy: $1 is not clean"; return 1; fi
}
export -f check
find platform inf sup ter remote_clients gen tools -name '*.cpp' -print0 | sort -z |
    xargs -0 -n 1 -P "$(nproc)" bash -c 'check "$0"'
echo "tidy: clean"
