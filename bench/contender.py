"""What a job runs, and the rounds that time it."""

import filecmp
import glob
import os
import shutil
import statistics
import subprocess
import sys
import time


def built_cobol(programs, name):
    """The path of a COBOL peer, built beside the programs; None without a compiler."""
    if shutil.which("cobc") is None:
        return None
    target = programs("cobol_" + name)
    here = os.path.dirname(os.path.abspath(__file__))
    source = os.path.join(here, "cobol", name + ".cob")
    if not os.path.exists(target) or os.path.getmtime(target) < os.path.getmtime(source):
        subprocess.run(["cobc", "-x", "-O2", "-o", target, source], check=True)
    return target


class Contender:
    """One way to do a job.

    command    what is run and timed, in the folder of the files
    peer       it is not this program, which the table compares it with
    output     the file that must equal the first contender's of that name; None: any output will do
    printed    what it prints must equal what the first contender prints"""

    def __init__(self, name, command, peer=False, output=None, printed=False, environment=None):
        self.name, self.command, self.peer = name, command, peer
        self.output, self.printed = output, printed
        self.environment = dict(os.environ, LANG="C", TZ="UTC", **(environment or {}))
        self.seconds = []

    def run(self):
        """Seconds taken, and what was printed."""
        for left in glob.glob("out*"):
            os.remove(left)
        before = time.monotonic()
        child = subprocess.run(self.command, env=self.environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        seconds = time.monotonic() - before
        if child.returncode != 0:
            sys.exit(f"{' '.join(self.command)}: {child.stderr.decode(errors='replace')}")
        return seconds, child.stdout

    def ratio_to(self, other):
        return statistics.median(a / b for a, b in zip(self.seconds, other.seconds))


class Job:
    """Contenders that do the same work. The first is what the others are compared with: their
    output with its output, in a round that is not timed, and their time with its time."""

    def __init__(self, title, contenders):
        self.title, self.contenders = title, contenders

    def check(self):
        expected_print = None
        for contender in self.contenders:
            printed = contender.run()[1]
            expected = f"expected.{contender.output}"
            if contender is self.contenders[0]:
                expected_print = printed
                for kept in glob.glob("expected.*"):
                    os.remove(kept)
                for output in {other.output for other in self.contenders if other.output}:
                    os.replace(output, f"expected.{output}")
            elif contender.printed and printed != expected_print:
                self.differs(contender)
            elif contender.output and not filecmp.cmp(contender.output, expected, shallow=False):
                self.differs(contender)

    def differs(self, contender):
        sys.exit(f"{self.title}: {contender.name} gives another result than "
                 f"{self.contenders[0].name}")

    def measure(self, rounds):
        """Every round runs each contender once, so that a drift of the machine meets all."""
        for _ in range(rounds):
            for contender in self.contenders:
                contender.seconds.append(contender.run()[0])

    def rows(self):
        """Lines of the table: job, contender, seconds, ratio, this program's time to a peer's."""
        first = self.contenders[0]
        ours = next(contender for contender in self.contenders if not contender.peer)
        for contender in self.contenders:
            yield (self.title if contender is first else "",
                   contender.name,
                   f"{statistics.median(contender.seconds):.3f}",
                   "" if contender is first else f"{contender.ratio_to(first):.2f}",
                   f"{ours.ratio_to(contender):.2f}" if contender.peer else "")
