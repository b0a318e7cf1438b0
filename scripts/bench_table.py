#!/usr/bin/env python3
"""Prints ours/peer time ratios from Google Benchmark JSON files (median of the repetitions)."""
import json
import re
import sys

rows = {}
for path in sys.argv[1:]:
    with open(path) as f:
        text = f.read()
    if not text.strip():  # a program none of whose benchmarks matched the filter
        continue
    data = json.loads(text)
    for b in data["benchmarks"]:
        if b.get("aggregate_name", "median") != "median":
            continue
        name = re.sub(r"_(mean|median|stddev|cv)$", "", b["name"])
        m = re.match(r"BM_([A-Za-z0-9]+)_(Ours|Peer[A-Za-z0-9]*)(.*)$", name)
        if not m:
            continue
        base, side, suffix = m.group(1), m.group(2), m.group(3)
        rows.setdefault((base, suffix), {})[side] = b["real_time"]

print(f"{'benchmark':<40} {'peer':<12} {'ours':>12} {'peer time':>12} {'ratio':>7}")
for (base, suffix), sides in sorted(rows.items()):
    ours = sides.get("Ours")
    for side, t in sorted(sides.items()):
        if side == "Ours" or ours is None:
            continue
        print(f"{base + suffix:<40} {side[4:] or 'peer':<12} {ours:12.1f} {t:12.1f} {ours / t:7.2f}")
