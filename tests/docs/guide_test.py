#!/usr/bin/env python3
"""Types every command of the guide and looks for what the guide shows below it.

    guide_test.py PROGRAMS SOURCE"""
import os
import subprocess
import sys
import tempfile

programs, source = (os.path.abspath(path) for path in sys.argv[1:3])
environment = dict(os.environ, LANG="C", PATH=programs + ":" + os.environ["PATH"],
                   EXAMPLES=os.path.join(source, "examples"))


def steps(text):
    """Commands with the lines expected below them."""
    command, expected, inside = None, [], False
    for line in text.splitlines():
        if not line.startswith("    "):
            inside = False
            continue
        line = line[4:]
        if inside and command is not None:
            command += "\n" + line
            inside = line != "END"
        elif line.startswith("$ "):
            if command is not None:
                yield command, expected
            command, expected = line[2:], []
            inside = "<<END" in line
        else:
            expected.append(line)
    yield command, expected


with open(os.path.join(source, "docs", "guide.md"), encoding="utf-8") as guide:
    text = guide.read()
with tempfile.TemporaryDirectory() as folder:
    for command, expected in steps(text):
        run = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, text=True,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, errors="replace")
        missing = [line for line in expected if line not in run.stdout]
        if run.returncode != 0 or missing:
            sys.exit(f"$ {command}\nstatus {run.returncode}, missing {missing}\n{run.stdout}")
