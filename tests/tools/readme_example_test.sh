#!/usr/bin/env bash
# The README's C++ example is examples/quick_start.cpp as it stands, and the built program succeeds.
# Usage: readme_example_test.sh PROGRAM SOURCE README
set -euo pipefail
"$1"
python3 - "$2" "$3" <<'PY'
import sys
source, readme = (open(path, encoding="utf-8").read() for path in sys.argv[1:3])
sys.exit(0 if source in readme else "the README does not show " + sys.argv[1] + " as it stands")
PY
