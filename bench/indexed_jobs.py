"""Jobs with indexed files: the program's, and those of the engine beside other keyed stores."""

import glob
import os
import subprocess

from contender import Contender, Job, built_cobol
from material import FIELDS, KEY, RECORD

NAMES = {"isam": "engine", "bdb": "Berkeley DB", "sqlite": "SQLite", "lmdb": "LMDB",
         "cobol": "GnuCOBOL"}


def stores(programs, shared=False):
    """The installed stores, the engine first and GnuCOBOL last."""
    listed = subprocess.run([programs("isam_bench"), "stores"], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    names = [line.split()[0] for line in listed.splitlines() if not shared or "shared" in line]
    return names if shared or not built_cobol(programs, "indexed") else names + ["cobol"]


def engine_job(programs, store, *words):
    if store == "cobol":
        return [programs("cobol_indexed"), *words]
    return [programs("isam_bench"), "--store", store, *words]


def load_job(title, source, alternate):
    """Restores into an indexed file; the stores load the records as restored."""
    def job(programs, _records):
        keys = [f"-k1:0,{KEY}"] + ([f"-k2:{KEY},10"] if alternate else [])
        restore = f"-Q -r -c -i -e -MF -s{RECORD} -fi{source} -foout".split()
        yardstick = "alternate" if alternate else "indexed"
        contenders = [
            Contender("yardstick", [programs("yardstick"), yardstick, source, "out"], peer=True),
            Contender("tolvane -Q", [programs("tolvane")] + restore + keys + FIELDS,
                      output="out.dat")]
        for store in stores(programs):
            command = engine_job(programs, store, "loadx" if alternate else "load",
                                 source + ".local", "out")
            contenders.append(Contender(NAMES[store], command, peer=store != "isam",
                                        output="out.dat" if store == "isam" else None))
        return Job(title, contenders)
    return job


def base(programs, store, source):
    """The name of a loaded store, made once."""
    name = f"{source}.{store}"
    if not glob.glob(glob.escape(name) + "*"):
        subprocess.run(engine_job(programs, store, "load", source + ".local", name), check=True,
                       stdout=subprocess.DEVNULL)
    return name


def backup(programs, _records):
    with open("backup.gra", "w", encoding="ascii") as job:
        job.write("AUTOMATIC ANSWER TRANSLATE TO EBCDIC\n")
    indexed = base(programs, "isam", "in")
    command = (f"{programs('tolvane')} -G backup.gra -Q -b -i -MF -s{RECORD} -fi{indexed} -foout"
               .split() + FIELDS)
    contenders = [
        Contender("yardstick", [programs("yardstick"), "backup", indexed, "out"], peer=True),
        Contender("tolvane -Q", command, output="out")]
    for store in stores(programs)[1:]:
        dump = engine_job(programs, store, "dump", base(programs, store, "in"), "out")
        contenders.append(Contender(NAMES[store] + ", no conversion", dump, peer=True))
    return Job("back an indexed file up", contenders)


def engine(title, job, access, *files):
    """A job on the stores that are loaded with shuffled records."""
    def make(programs, _records):
        return Job(title, [
            Contender(NAMES[store],
                      engine_job(programs, store, job, base(programs, store, "mixed"), *files,
                                 access),
                      peer=store != "isam", printed=True)
            for store in stores(programs, shared=access == "shared")])
    return make


JOBS = {
    "load": load_job("load, ascending", "in", False),
    "loadmixed": load_job("load, shuffled", "mixed", False),
    "loadx": load_job("load, ascending, alternate key", "in", True),
    "loadmixedx": load_job("load, shuffled, alternate key", "mixed", True),
    "backup": backup,
    "lookup": engine("look keys up", "q1", "excl", "keys"),
    "lookupshared": engine("look keys up, shared", "q1", "shared", "keys"),
    "scan": engine("scan in key order", "q2", "excl"),
    "scanshared": engine("scan in key order, shared", "q2", "shared"),
    "update": engine("update a tenth", "u1", "excl", "pairs"),
    "updateshared": engine("update a tenth, shared", "u1", "shared", "pairs"),
}
