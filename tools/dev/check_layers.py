#!/usr/bin/env python3
"""Checks that each folder of src/ includes only itself and the folders below it."""
import pathlib, re, sys

ORDER = ["platform", "state", "datarep", "reports", "isam", "copybook", "media", "convert", "dates", "files",
         "pipeline", "driver"]
# Libraries that could serve another program: what they may include besides themselves.
LIBRARIES = {"datarep": set(), "isam": {"platform", "datarep"}, "copybook": {"datarep"}}

bad = 0
for path in sorted(pathlib.Path("src").rglob("*.[ch]*")):
    room = path.parts[1]
    if room not in ORDER:
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
