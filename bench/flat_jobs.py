"""Jobs from flat files, tape images and 36-bit words to flat files."""

import shutil
import subprocess

from contender import Contender, Job, built_cobol
from material import FIELDS, RECORD

RESTORE = f"-r -c -q -e -MF -s{RECORD} -foout".split() + FIELDS


def with_and_without_progress(command):
    return [Contender("tolvane -Q", command + ["-Q"], output="out"),
            Contender("tolvane, progress", command, output="out")]


def flat(programs, _records):
    contenders = [Contender("yardstick", [programs("yardstick"), "flat", "in", "out"], peer=True)]
    contenders += with_and_without_progress([programs("tolvane"), "-fiin"] + RESTORE)
    contenders.append(
        Contender("dd conv=ascii", ["dd", "if=in", "of=out", "bs=64k", "conv=ascii"], peer=True))
    if shutil.which("iconv"):
        contenders.append(Contender("iconv", ["iconv", "-f", "IBM037", "-t", "ISO-8859-1", "-o",
                                              "out", "in"], peer=True))
    cobol = built_cobol(programs, "flat")
    if cobol:
        contenders.append(Contender("GnuCOBOL", [cobol], peer=True, output="out",
                                    environment={"IN": "in", "OUT": "out", "TABLE": "table"}))
    return Job("restore fixed records", contenders)


def variable(programs, _records):
    with open("variable.gra", "w", encoding="ascii") as job:
        job.write("AUTOMATIC ANSWER RECORD SIZE V\n")
    command = [programs("tolvane"), "-G", "variable.gra", "-fiin.blocks"] + RESTORE
    return Job("restore variable records", [
        Contender("yardstick", [programs("yardstick"), "variable", "in.blocks", "out"], peer=True),
    ] + with_and_without_progress(command))


def image(programs, _records):
    block = RECORD * 100
    restore = ["-Q", f"-v{block}"] + RESTORE
    contenders = [Contender("tolvane, plain file", [programs("tolvane"), "-fiin"] + restore)]
    for container in ("tap", "aws"):
        name = f"{container}:image.{container}"
        subprocess.run([programs("tapeimg"), "pack", "--block", str(block), name, "in"],
                       check=True)
        contenders.append(Contender(f"tolvane, {container} image",
                                    [programs("tolvane"), "-fi" + name] + restore, output="out"))
    return Job("restore tape images", contenders)


def words(programs, records):
    """36-bit words to records of bytes, beside a copy of the packed words."""
    def pack(numbers):
        bits = 0
        for number in numbers:
            bits = bits << 36 | number
        return bits.to_bytes(len(numbers) * 36 // 8, "big")

    def characters(text):
        return [sum(ord(c) << (27 - 9 * i) for i, c in enumerate(text[at:at + 4]))
                for at in range(0, len(text), 4)]

    text = "".join(chr(ord("A") + i % 26) for i in range(80))
    label = [0o503335000001] + [0] * 27
    label[4], label[12] = len(text) // 4, records
    record = pack([len(text) // 4 << 24] + characters(text) + [0o52 << 30])
    with open("words", "wb") as file:
        file.write(pack(label) + record * records + pack([0o77 << 30, 0]))
    with open("words.gra", "w", encoding="ascii") as job:
        job.write("RESTORE CREATE AUTOMATIC ANSWER COMPILER IS MF BACKUP FILE IS SDF\n"
                  "ZORVA FILE IS SEQUENTIAL INPUT FILE IS words OUTPUT FILE IS out\n")
    return Job("restore 36-bit words", [
        Contender("plain copy", [programs("yardstick"), "copy", "words", "out"], peer=True),
        Contender("unpack only", [programs("yardstick"), "unpack", "words", "out"], peer=True),
        Contender("tolvane -Q", [programs("tolvane"), "-G", "words.gra", "-Q"]),
    ])
