#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a consumer against it, through the CMake
# package and through pkg-config; both consumers must run and succeed.
set -euo pipefail
build=$1 source=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/cmake/consumer"
pc_dir=$(dirname "$(find "$work/prefix" -name ztbase.pc | head -n 1)")
flags=$(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs ztbase)
# shellcheck disable=SC2086
c++ "$source/consumer/main.cpp" -o "$work/pkgconfig-consumer" $flags
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/pkgconfig-consumer"
echo "install, find_package and pkg-config: ok"
