#!/usr/bin/env bash
# Installs what is missing, builds the library and runs the bundled example.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTBASE_TESTS=OFF -DZTBASE_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target strings_demo
./build/examples/strings_demo
