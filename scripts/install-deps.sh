#!/usr/bin/env bash
# Installs what is missing for one purpose: build, test or bench (each includes the one before).
# Usage: scripts/install-deps.sh [build|test|bench]
set -euo pipefail

buildPackages=(
  cmake ninja-build g++ ccache pkg-config
  libboost-dev libcurl4-openssl-dev libsqlite3-dev libsystemd-dev libelf-dev
  libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev
  python3-aiosmtpd openssl
)
testPackages=(
  googletest libgtest-dev libgmock-dev
  clang clang-tidy clang-format cppcheck libclang-rt-14-dev
  binutils elfutils sqlite3 git
)
benchPackages=(libbenchmark-dev valgrind)

purpose=${1:-build}
case "$purpose" in
  build) wanted=("${buildPackages[@]}") ;;
  test) wanted=("${buildPackages[@]}" "${testPackages[@]}") ;;
  bench) wanted=("${buildPackages[@]}" "${testPackages[@]}" "${benchPackages[@]}") ;;
  *) echo "usage: $0 [build|test|bench]" >&2; exit 2 ;;
esac

isInstalled() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

missing=()
for package in "${wanted[@]}"; do
  isInstalled "$package" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

asRoot=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "$0: needs root or sudo to install: ${missing[*]}" >&2
    exit 1
  }
  asRoot=(sudo)
fi

echo "Installing: ${missing[*]}"
"${asRoot[@]}" apt-get update -q
"${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${missing[@]}"
