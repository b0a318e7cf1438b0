#!/usr/bin/env bash
# The soak run: threads write and read one data table, add tasks that log with roll-over, and a second
# process reads the table, for MINUTES (default 30); then the table must pass its check and hold every
# acknowledged write. Built with AddressSanitizer and UBSan. Usage: scripts/soak.sh [MINUTES]
set -euo pipefail
cd "$(dirname "$0")/.."
minutes=${1:-30}
bash scripts/deps.sh
build=build-soak
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_BENCH=OFF \
  -DZTBASE_SANITIZE=address,undefined "-DZTBASE_TEST_FOLDERS=base" >/dev/null
cmake --build "$build" -j"$(nproc)" --target ztbase_soak
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/tests/ztbase_soak" "$minutes" "$work"
