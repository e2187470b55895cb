"""Jobs that change four fields of every record, beside the plain restore of the same records."""

import os
import shutil

from contender import Contender, Job

HERE = os.path.dirname(os.path.abspath(__file__))
TO_ASCII = "TRANSLATE TO ASCII COMPILER IS MF"


def restore(programs, name, source, statements):
    """The command of a restore from `source` with more statements before its copybook."""
    shutil.copy(os.path.join(HERE, "record.cpy"), "record.cpy")
    with open(name + ".gra", "w", encoding="ascii") as job:
        job.write("RESTORE CREATE AUTOMATIC ANSWER ZORVA FILE IS SEQUENTIAL\n"
                  f"INPUT FILE IS {source} OUTPUT FILE IS out\n{statements}\n"
                  "COPYBOOK IS COPY record.cpy\n")
    return [programs("tolvane"), "-G", name + ".gra", "-Q"]


def of_each_date(statement):
    return "\n".join(f"{statement.format(n)}" for n in range(1, 5))


def grow(programs, _records):
    windows = of_each_date("DATE IS BR-DATE-{} FORMAT YYMMDD\n"
                           "  IF YY < 50 THEN CC = 20 ELSE CC = 19")
    return Job("widen records of 100 bytes", [
        Contender("tolvane, plain restore", restore(programs, "plain", "in", TO_ASCII)),
        Contender("tolvane, four DATE IS", restore(programs, "dates", "in",
                                                   TO_ASCII + "\n" + windows)),
        Contender("tolvane, EXPLODE of four", restore(programs, "explode", "in",
                                                      TO_ASCII + "\nEXPLODE")),
    ])


def age(programs, _records):
    ages = "COMPILER IS MF\n" + of_each_date(
        "AGE BR-DATE-{} FORMAT YYMMDD FROM 01/01/1999 TO 03/15/2000")
    return Job("age four dates a record", [
        Contender("tolvane, plain restore", restore(programs, "local", "in.local",
                                                    "COMPILER IS MF")),
        Contender("tolvane, AGE", restore(programs, "age", "in.local", ages)),
        Contender("tolvane, AGE, 20 days", restore(programs, "few", "in.few", ages)),
    ])
