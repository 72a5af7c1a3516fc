#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running need,
# only those that are missing.
set -euo pipefail

packages=(
    cmake ninja-build ccache g++ pkg-config file dpkg-dev
    qtbase5-dev qtbase5-dev-tools libqt5x11extras5-dev libx11-dev
    qttools5-dev qttools5-dev-tools libqt5designer5
    xvfb xauth fonts-dejavu-core
    clang libclang-rt-14-dev llvm
    libbenchmark-dev valgrind
    libssl-dev python3-openssl openssl abigail-tools extra-cmake-modules
    python3-pyftpdlib curl procps
)
# No vsftpd here: its package starts a system FTP daemon and removes other FTP
# servers. The tests unpack it into the build tree instead (cmake/VetrelTestServers.cmake).

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
