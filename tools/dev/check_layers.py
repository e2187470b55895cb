#!/usr/bin/env python3
"""Checks that each folder of src/ includes only itself and the folders below it."""
import pathlib, re, sys

# The order stands in the table of ARCHITECTURE.md, from the ground floor up.
ORDER = re.findall(r"^\| `src/(\w+)`", pathlib.Path("ARCHITECTURE.md").read_text(), re.M)
# Libraries that could serve another program: what they may include besides themselves.
LIBRARIES = {"datarep": set(), "isam": {"platform", "datarep"}, "copybook": {"datarep"}}

bad = 0
for path in sorted(pathlib.Path("src").rglob("*.[ch]*")):
    room = path.parts[1]
    if len(path.parts) < 3:
        continue
    if room not in ORDER:
        print(f"{path}: {room} is missing in the table of ARCHITECTURE.md")
        bad = 1
        continue
    for number, line in enumerate(path.read_text().splitlines(), 1):
        match = re.match(r'\s*#include "(\w+)/', line)
        if not match or match[1] not in ORDER or match[1] == room:
            continue
        allowed = LIBRARIES.get(room, set(ORDER[:ORDER.index(room)]))
        if match[1] not in allowed:
            print(f"{path}:{number}: {room} must not include {match[1]}")
            bad = 1
sys.exit(bad)
