#!/usr/bin/env bash
# The layer order is enforced twice, and both must catch an include that runs up the order: the script
# scripts/check-layers.py on the sources, and the build, whose layers see only the folders below them.
# Usage: layer_check_test.sh SOURCE-DIR BUILD-DIR WORK-DIR
set -euo pipefail
src=$1 build=$2 work=$3
rm -rf "$work" && mkdir -p "$work"

python3 "$src/scripts/check-layers.py" "$src"

# The script: the same tree with one upward include added to the files layer.
cp -r "$src/ztbase" "$work/ztbase"
echo '#include "ztbase/generic/generic.h"' >> "$work/ztbase/files/xfile.cpp"
if python3 "$src/scripts/check-layers.py" "$work" > "$work/report.txt" 2>&1; then
  echo "the script accepted an upward include"; exit 1
fi
grep -q "ztbase/files/xfile.cpp:.*ztbase/generic/generic.h is in a higher layer" "$work/report.txt"

# The build: the files layer's include directories reach the process layer but not the generic one.
flags=()
for folder in platform base strings errors process files; do flags+=(-I "$build/layers/$folder"); done
printf '#include "ztbase/files/xfile.h"\n#include "ztbase/process/locks.h"\n' |
  c++ -std=c++20 -fsyntax-only "${flags[@]}" -x c++ -
if printf '#include "ztbase/files/xfile.h"\n#include "ztbase/generic/generic.h"\n' |
  c++ -std=c++20 -fsyntax-only "${flags[@]}" -x c++ - 2> "$work/compile.txt"; then
  echo "the files layer could include the generic layer"; exit 1
fi
grep -q "ztbase/generic/generic.h: No such file" "$work/compile.txt"
echo "layer order: the script and the build both refuse an upward include"
