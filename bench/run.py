#!/usr/bin/env python3
"""Measures the program's jobs beside their peers.

    bench/run.py PROGRAMS [JOB ...]     PROGRAMS: the folder of the built programs

Every round runs each contender of a job once, so that a drift of the machine meets all of them.
Round 0 is not timed: there the outputs are compared with each other byte by byte. A figure is the
median of the rounds, a ratio the median of the rounds' ratios to the yardstick, a hand-written loop
that moves the same bytes and does nothing else. Peers that are not installed are left out.

Environment: RECORDS (1000000), ROUNDS (5), WORK (a folder for the files; a temporary one)."""

import filecmp
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

RECORDS = int(os.environ.get("RECORDS", "1000000"))
ROUNDS = int(os.environ.get("ROUNDS", "5"))
HERE = os.path.dirname(os.path.abspath(__file__))
FIELDS = "-U41:7 -P48:5:2 -B58:2 -P60:3".split()


class Contender:
    """One way to do a job: what it runs, and whether its output must equal the yardstick's."""

    def __init__(self, name, command, exact=True, environment=None):
        self.name, self.command, self.exact = name, command, exact
        self.environment = dict(os.environ, LANG="C", **(environment or {}))
        self.seconds = []

    def run(self):
        if os.path.exists("out"):
            os.remove("out")
        before = time.monotonic()
        child = subprocess.Popen(self.command, env=self.environment, stdin=subprocess.DEVNULL,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        error = child.communicate()[1]
        seconds = time.monotonic() - before
        if child.returncode != 0:
            sys.exit(f"{' '.join(self.command)}: {error.decode(errors='replace')}")
        return seconds


def built_cobol(name, programs):
    """The path of a COBOL peer, built beside the programs; None without a compiler."""
    if shutil.which("cobc") is None:
        return None
    target = os.path.join(programs, "cobol_" + name)
    source = os.path.join(HERE, "cobol", name + ".cob")
    if not os.path.exists(target) or os.path.getmtime(target) < os.path.getmtime(source):
        subprocess.run(["cobc", "-x", "-O2", "-o", target, source], check=True)
    return target


def flat_job(programs):
    tolvane = [os.path.join(programs, "tolvane")]
    restore = "-r -c -q -e -MF -s80 -fiin -foout".split() + FIELDS
    contenders = [
        Contender("yardstick", [os.path.join(programs, "yardstick"), "flat", "in", "out"]),
        Contender("tolvane -Q", tolvane + ["-Q"] + restore),
        Contender("tolvane with progress", tolvane + restore),
        Contender("dd conv=ascii", ["dd", "if=in", "of=out", "bs=64k", "conv=ascii"], exact=False),
    ]
    if shutil.which("iconv"):
        contenders.append(Contender("iconv", ["iconv", "-f", "IBM037", "-t", "ISO-8859-1", "-o",
                                              "out", "in"], exact=False))
    cobol = built_cobol("flat", programs)
    if cobol:
        contenders.append(Contender("GnuCOBOL", [cobol],
                                    environment={"IN": "in", "OUT": "out", "TABLE": "table"}))
    return "restore fixed records to a flat file", contenders


JOBS = {"flat": flat_job}


def measure(title, contenders):
    for contender in contenders:
        contender.run()
        if contender is contenders[0]:
            os.replace("out", "expected")
        elif contender.exact and not filecmp.cmp("out", "expected", shallow=False):
            sys.exit(f"{title}: {contender.name} gives another result than the yardstick")
    for _ in range(ROUNDS):
        for contender in contenders:
            contender.seconds.append(contender.run())
    print(f"\n{title}, {RECORDS:,} records, {ROUNDS} rounds")
    print(f"  {'contender':<24}{'seconds':>9}{'ratio':>8}")
    for contender in contenders:
        ratio = statistics.median(a / b for a, b in zip(contender.seconds, contenders[0].seconds))
        print(f"  {contender.name:<24}{statistics.median(contender.seconds):>9.3f}{ratio:>8.2f}")


def main():
    programs = os.path.abspath(sys.argv[1])
    wanted = sys.argv[2:] or list(JOBS)
    unknown = [job for job in wanted if job not in JOBS]
    if unknown:
        sys.exit(f"no job {unknown[0]}; there are: {', '.join(JOBS)}")
    with tempfile.TemporaryDirectory(dir=os.environ.get("WORK")) as work:
        os.chdir(work)
        subprocess.run([os.path.join(programs, "make_payroll"), "in", str(RECORDS)], check=True)
        with open("table", "wb") as table:
            table.write(bytes(range(256)).decode("cp037").encode("latin-1", "replace"))
        for job in wanted:
            measure(*JOBS[job](programs))


main()
