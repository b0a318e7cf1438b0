#!/usr/bin/env bash
# Fails when a tracked C++ file differs from the project's clang-format style (.clang-format).
# Usage: scripts/check-format.sh        (scripts/check-format.sh --fix rewrites the files instead)
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = --fix ]; then
  clang-format -i "${files[@]}"
else
  clang-format --dry-run -Werror "${files[@]}"
  echo "formatting: ${#files[@]} files as .clang-format says"
fi
