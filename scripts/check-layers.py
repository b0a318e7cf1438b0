#!/usr/bin/env python3
"""Fails when an include runs up the library's layer order, when a public header includes an internal
one, or when a file outside the platform layer includes an operating-system header.

Usage: scripts/check-layers.py [root]   (prints each offence as FILE:LINE: message; exit 1 if any)
"""
import os
import re
import sys

# Lowest first. A file may include its own layer and the layers before it; strings and errors are one.
LAYERS = [
    ["platform"],
    ["base"],
    ["strings", "errors"],
    ["process"],
    ["files"],
    ["log"],
    ["generic"],
    ["datatable"],
    ["components"],
]
TOP = len(LAYERS)  # the umbrella header, the global objects and the tools see everything
RANK = {folder: rank for rank, folders in enumerate(LAYERS) for folder in folders}
OS_HEADERS = re.compile(
    r"^(unistd|fcntl|dirent|fnmatch|dlfcn|pthread|syslog|poll|windows|winsock2|io|direct|process)\.h$"
    r"|^(sys|arpa|netinet)/")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def rank_of(path):
    """The layer of a file under ztbase/ (relative to the root), TOP for the rest."""
    parts = path.split("/")
    if parts[0] == "ztbase" and len(parts) > 2:
        return RANK.get(parts[1], TOP)
    return TOP


def check(root):
    problems = []
    for top in ("ztbase", "tools"):
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                if not name.endswith((".h", ".cpp")):
                    continue
                full = os.path.join(folder, name)
                rel = os.path.relpath(full, root).replace(os.sep, "/")
                problems += check_file(root, rel)
    return problems


def check_file(root, rel):
    problems = []
    own = rank_of(rel)
    internal_self = "/internal/" in rel or rel.startswith(("ztbase/platform/posix/", "ztbase/platform/win32/"))
    public_header = rel.endswith(".h") and rel.startswith("ztbase/") and not internal_self
    with open(os.path.join(root, rel), encoding="utf-8", errors="replace") as f:
        for number, line in enumerate(f, 1):
            m = INCLUDE.match(line)
            if not m:
                continue
            kind, target = m.groups()
            where = f"{rel}:{number}"
            if kind == "<":
                if OS_HEADERS.search(target) and not rel.startswith("ztbase/platform/"):
                    problems.append(f"{where}: system header <{target}> outside the platform layer")
                continue
            if not target.startswith("ztbase/"):
                # A quoted include relative to the file: resolve it, then judge it as a library path.
                target = os.path.normpath(os.path.join(os.path.dirname(rel), target)).replace(os.sep, "/")
                if not target.startswith("ztbase/"):
                    continue
            theirs = rank_of(target)
            if theirs > own:
                problems.append(f"{where}: {target} is in a higher layer than this file")
            if public_header and "/internal/" in target:
                problems.append(f"{where}: a public header includes the internal {target}")
    return problems


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..")
    problems = check(os.path.abspath(root))
    for p in problems:
        print(p)
    if problems:
        print(f"{len(problems)} include(s) break the layer order", file=sys.stderr)
        return 1
    print("layer order: every include runs down the layers")
    return 0


if __name__ == "__main__":
    sys.exit(main())
