#!/usr/bin/env bash
# Installs what is missing, configures and builds from scratch, and runs every test.
# Usage: scripts/test.sh [build-dir] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
build=${1:-build-test}
shift || true
rm -rf "$build"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_WERROR=ON "$@"
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
