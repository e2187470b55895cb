"""The files that the jobs read: records of 100 bytes, which record.cpy describes. The same count
gives the same bytes."""

import random
import struct

RECORD = 100
BLOCK = 32000
SEED = 20000229
GROUP_RECORDS = 50  # records that share an alternate key
FIELDS = "-P42:4:4 -B65:4 -U69:7".split()  # of record.cpy, where a text would not do
PAD = "A text of 24 characters."

KEY, PAIRED = 8, 10  # bytes of a key; one of so many keys is in the list of the updates


def packed(number):
    return bytes.fromhex(f"{abs(number):07d}" + ("d" if number < 0 else "c"))


def signed(number, negative_zone, positive_zone):
    digits = f"{abs(number):07d}"
    zone = negative_zone if number < 0 else positive_zone
    return digits[:6], bytes([zone | int(digits[6])])


def dates(numbers, days):
    """Four dates of six digits, out of so many different ones."""
    def date():
        day = numbers.randrange(days) % 36000
        return f"{day // 360:02d}{day // 30 % 12 + 1:02d}{day % 28 + 1:02d}"
    return "".join(date() for _ in range(4))


def records(count, days):
    """Pairs of a record in EBCDIC and the same for Micro Focus."""
    numbers = random.Random(SEED)
    for i in range(count):
        group = numbers.randrange(count // GROUP_RECORDS + 1)
        front = f"{(i + 1) * 7:08d}{group:010d}" + dates(numbers, days)
        amounts = b"".join(packed(numbers.randrange(-10**6, 10**6)) for _ in range(4))
        number = struct.pack(">i", i)
        balance = numbers.randrange(-10**6, 10**6)
        digits, local_sign = signed(balance, 0x70, 0x30)
        ebcdic_sign = signed(balance, 0xD0, 0xC0)[1]
        middle = numbers.choice(("SMITH  ", "O'BRIEN", "MUELLER", "NOVAK  "))
        yield (front.encode("cp037") + amounts + middle.encode("cp037") + number +
               digits.encode("cp037") + ebcdic_sign + PAD.encode("cp037"),
               front.encode() + amounts + middle.encode() + number + digits.encode() +
               local_sign + PAD.encode())


def write(path, parts):
    with open(path, "wb") as file:
        file.write(b"".join(parts))


def variable_blocks(parts):
    """Blocks of records between 77 and 100 bytes long, each with its descriptor."""
    block = bytearray()
    for i, record in enumerate(parts):
        part = record[:RECORD - i % 24]
        part = struct.pack(">HH", len(part) + 4, 0) + part
        if 4 + len(block) + len(part) > BLOCK:
            yield struct.pack(">HH", len(block) + 4, 0) + block
            block = bytearray()
        block += part
    yield struct.pack(">HH", len(block) + 4, 0) + block


def make(count):
    """Writes the files into the current folder:

    in, in.local        records in order of their keys, in EBCDIC and as restored
    mixed, mixed.local  the same, shuffled
    in.few              as in.local, with few distinct dates
    in.blocks           variable records in blocks
    keys, pairs         the keys of mixed; pairs of keys to update, of a tenth of the records
    table               the translation from EBCDIC, byte by byte"""
    both = list(records(count, 36000))
    write("in", (ebcdic for ebcdic, _ in both))
    write("in.local", (local for _, local in both))
    write("in.blocks", variable_blocks(ebcdic for ebcdic, _ in both))
    random.Random(SEED).shuffle(both)
    write("mixed", (ebcdic for ebcdic, _ in both))
    write("mixed.local", (local for _, local in both))
    keys = [local[:KEY] for _, local in both]
    write("keys", keys)
    write("pairs", keys[:count // PAIRED * 2])
    write("in.few", (local for _, local in records(count, 20)))
    write("table", [bytes(range(256)).decode("cp037").encode("latin-1", "replace")])
