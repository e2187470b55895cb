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


def image_job(programs):
    """The same records from a plain file and from tape images."""
    restore = "-Q -r -c -q -e -MF -s80 -v8000 -foout".split() + FIELDS
    tolvane = os.path.join(programs, "tolvane")
    contenders = [Contender("plain file", [tolvane, "-fiin"] + restore)]
    for container in ("tap", "aws"):
        image = f"{container}:image.{container}"
        subprocess.run([os.path.join(programs, "tapeimg"), "pack", "--block", "8000", image, "in"],
                       check=True)
        contenders.append(Contender(f"{container} image", [tolvane, "-fi" + image] + restore))
    return "restore fixed records from tape images", contenders


def words_job(programs):
    """36-bit words to records of bytes, beside a copy of the packed words."""
    def pack(words):
        bits = 0
        for word in words:
            bits = bits << 36 | word
        return bits.to_bytes(len(words) * 36 // 8, "big")

    def characters(text):
        return [sum(ord(c) << (27 - 9 * i) for i, c in enumerate(text[at:at + 4]))
                for at in range(0, len(text), 4)]

    text = "".join(chr(ord("A") + i % 26) for i in range(80))
    label = [0o503335000001] + [0] * 27
    label[4], label[12] = len(text) // 4, RECORDS
    record = pack([len(text) // 4 << 24] + characters(text) + [0o52 << 30])
    with open("words", "wb") as words:
        words.write(pack(label) + record * RECORDS + pack([0o77 << 30, 0]))
    with open("job", "w") as job:
        job.write("RESTORE\nCREATE\nAUTOMATIC ANSWER\nCOMPILER IS MF\nBACKUP FILE IS SDF\n"
                  "ZORVA FILE IS SEQUENTIAL\nINPUT FILE IS words\nOUTPUT FILE IS out\n")
    megabytes = os.path.getsize("words") / 1e6
    return f"restore 36-bit words ({megabytes:.0f} MB packed)", [
        Contender("plain copy", [os.path.join(programs, "yardstick"), "copy", "words", "out"]),
        Contender("unpack only", [os.path.join(programs, "yardstick"), "unpack", "words", "out"],
                  exact=False),
        Contender("tolvane", [os.path.join(programs, "tolvane"), "-G", "job", "-Q"], exact=False),
    ]


JOBS = {"flat": flat_job, "image": image_job, "words": words_job}


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
