#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a consumer against it, through the CMake
# package and through pkg-config; both consumers must run and succeed, and so must the installed zt. Every installed header must compile
# on its own and be part of the umbrella header; nothing internal may be installed.
set -euo pipefail
build=$1 source=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/cmake/consumer"
include=$(find "$work/prefix" -type d -name include | head -n 1)
if find "$include" -path '*internal*' -o -path '*posix*' | grep -q .; then
  echo "internal headers were installed:"; find "$include" -path '*internal*' -o -path '*posix*'; exit 1
fi
count=0
while IFS= read -r header; do
  name=${header#"$include"/}
  [ "$name" = ztbase/ztbase.h ] || grep -qxF "#include \"$name\"" "$include/ztbase/ztbase.h" ||
    { echo "$name is not in ztbase/ztbase.h"; exit 1; }
  echo "#include <$name>" | c++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$include" -x c++ - ||
    { echo "$name does not compile on its own"; exit 1; }
  count=$((count + 1))
done < <(find "$include/ztbase" -name '*.h' | sort)
echo "$count installed headers compile on their own"
pc_dir=$(dirname "$(find "$work/prefix" -name ztbase.pc | head -n 1)")
flags=$(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs ztbase)
# shellcheck disable=SC2086
c++ "$source/consumer/main.cpp" -o "$work/pkgconfig-consumer" $flags
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/pkgconfig-consumer"
# The installed zt runs as it is, without LD_LIBRARY_PATH.
env -u LD_LIBRARY_PATH "$work/prefix/bin/zt" --version
printf '{a = [1, 2]}' | env -u LD_LIBRARY_PATH "$work/prefix/bin/zt" pretty --compact | grep -qxF '{a = [1, 2]}'
echo "install, find_package, pkg-config and the installed zt: ok"
