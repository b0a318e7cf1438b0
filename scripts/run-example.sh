#!/usr/bin/env bash
# Installs what is missing, builds the library and the zt tool, and pretty-prints the bundled example:
# a small grammar's feature bundles, rules and value sets.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_TESTS=OFF -DZTBASE_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target zt
./build/tools/zt/zt pretty examples/grammar.zt
