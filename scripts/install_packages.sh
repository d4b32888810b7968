#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, where they are missing. This list is the only one.
set -euo pipefail

packages=(
    # building
    g++ cmake ninja-build ccache make pkg-config libc-dev-bin
    # the program and the table generator
    libcli11-dev nlohmann-json3-dev libicu-dev
    # tests
    libgtest-dev libgmock-dev python3 binutils valgrind locales procps libdw1
    # peers that the remote side is tried against
    python3-impacket samba-common-bin tshark iproute2 util-linux
    # the second compiler, and the checks of format and style
    clang-14 clang-format-14 clang-tidy-14
    # benchmarks
    libbenchmark-dev liblttng-ust-dev lttng-tools libspdlog-dev
)

missing=()
for package in "${packages[@]}"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "install_packages: missing ${missing[*]}; run as root or install sudo" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "Installing ${missing[*]}"
log=$(mktemp)
if ! "${as_root[@]}" apt-get update >"$log" 2>&1 ||
    ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        "${missing[@]}" >>"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi
rm -f "$log"
