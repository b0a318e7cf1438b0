#!/usr/bin/env bash
# Installs what building and testing need, with apt-get, when something is missing.
set -euo pipefail
# Usage: scripts/deps.sh [bench|windows]   (bench adds the peers the benchmarks compare against, windows the
# MinGW-w64 cross compilers and Wine)
packages=(cmake ninja-build g++ clang clang-format python3 pkg-config libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libclang-rt-14-dev)
[ "${1:-}" = bench ] && packages+=(libspdlog-dev rapidjson-dev liblmdb-dev libtbb-dev libmimalloc-dev)
[ "${1:-}" = windows ] && packages+=(g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix wine64)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
