#!/usr/bin/env python3
"""Measures the program's jobs beside their peers and prints one table.

    bench/run.py PROGRAMS [JOB ...]     PROGRAMS: the folder of the built programs

Before the rounds each contender of a job runs once, untimed, and its output is compared with that
of the first one, most often a hand-written loop that moves the same bytes and does nothing else. A
figure is the median of the rounds, a ratio the median of the rounds' ratios to the first contender
and, in the last column, of this program's time to a peer's. Peers that are not installed are left
out.

Environment: RECORDS (1000000), ROUNDS (5), WORK (a folder for the files; a temporary one)."""

import os
import sys
import tempfile

import flat_jobs
import growth_jobs
import indexed_jobs
import material

RECORDS = int(os.environ.get("RECORDS", "1000000"))
ROUNDS = int(os.environ.get("ROUNDS", "5"))
JOBS = {"flat": flat_jobs.flat, "variable": flat_jobs.variable, "image": flat_jobs.image,
        "words": flat_jobs.words, **indexed_jobs.JOBS,
        "grow": growth_jobs.grow, "age": growth_jobs.age}
WIDTHS = (30, 28, 8, 6, 14)
HEADS = ("job", "contender", "seconds", "ratio", "tolvane to it")


def print_row(cells):
    padded = [cell.ljust(width) if column < 2 else cell.rjust(width)
              for column, (cell, width) in enumerate(zip(cells, WIDTHS))]
    print("| " + " | ".join(padded) + " |", flush=True)


def main():
    folder = os.path.abspath(sys.argv[1])
    wanted = sys.argv[2:] or list(JOBS)
    unknown = [job for job in wanted if job not in JOBS]
    if unknown:
        sys.exit(f"no job {unknown[0]}; there are: {', '.join(JOBS)}")

    def programs(name):
        return os.path.join(folder, name)

    with tempfile.TemporaryDirectory(dir=os.environ.get("WORK")) as work:
        os.chdir(work)
        material.make(RECORDS)
        print(f"{RECORDS:,} records of {material.RECORD} bytes, {ROUNDS} rounds\n")
        print_row(HEADS)
        print_row(["-" * width for width in WIDTHS])
        for name in wanted:
            job = JOBS[name](programs, RECORDS)
            job.check()
            job.measure(ROUNDS)
            for row in job.rows():
                print_row(row)


main()
