#!/usr/bin/env python3
"""Holds the reference against the program: options, environment, messages; and the list of pages.

    reference_test.py PROGRAMS SOURCE"""
import glob
import os
import re
import subprocess
import sys

programs, source = (os.path.abspath(path) for path in sys.argv[1:3])
MESSENGERS = re.compile(r"\b(PrintError|PrintWarning|PrintPlainError|PrintOutput|Stop|Reject|Fail|"
                        r"Skip|Damaged|Refuse|Report|AskName)\(")
LITERALS = re.compile(r'"(?:[^"\\\n]|\\.)*"(?:\s*"(?:[^"\\\n]|\\.)*")*|\'(?:\\.|[^\'\\])\'|[()]')
COMPLAINT = re.compile("error|could not|cannot|fail|not successful|warning", re.IGNORECASE)
failures = []


def read(*path):
    with open(os.path.join(source, *path), encoding="utf-8") as file:
        return file.read()


def expect_equal(what, found, documented):
    for lacking, where in ((found - documented, "the reference"), (documented - found, "the program")):
        failures.extend(f"{what} {name} is not in {where}" for name in sorted(lacking))


def section(text, title):
    return text.split(f"\n## {title}\n")[1].split("\n## ")[0]


def first_cells(text):
    return "\n".join(line.split("|")[1] for line in text.splitlines() if line.startswith("| `"))


def texts(code):
    """Writer and literal of each text that is written, pieces joined."""
    for call in MESSENGERS.finditer(code):
        depth, at = 1, call.end()
        while depth > 0:
            token = LITERALS.search(code, at)
            at, word = token.end(), token.group()
            depth += (word == "(") - (word == ")")
            if word.startswith('"'):
                yield call.group(1), "".join(re.findall(r'"((?:[^"\\\n]|\\.)*)"', word))


def fixed_parts(text):
    text = re.sub(r"\\[nrt]", " ", text).replace('\\"', '"')
    text = re.sub(r"%[-.0-9]*[lz]*[a-zA-Z]", "\0", text)
    parts = [part.strip() for part in re.sub(r" +", " ", text).split("\0")]
    return [part for part in parts if re.search("[a-z]{2}", part)]


def check_messages(reference):
    for path in sorted(glob.glob(os.path.join(source, "src", "**", "*.cpp"), recursive=True)):
        if os.path.basename(os.path.dirname(path)) in ("copybook", "isam"):
            continue  # they have no messages of their own
        for writer, text in texts(read(path)):
            parts = fixed_parts(text)
            if not any(" " in part for part in parts):
                continue  # a name, a field, an ending
            if writer == "AskName" and "?>" in text:
                continue
            if writer == "PrintOutput" and not COMPLAINT.search(text):
                continue
            pattern = "[^`]*?".join(re.escape(part) for part in parts)
            if not re.search(pattern, reference):
                failures.append(f"{os.path.relpath(path, source)}: not in the reference: {text}")


def check_options(reference):
    declared = re.search(r'kOptionString =\s*"\+([^"]*)"', read("src", "driver", "scrio.cpp"))
    documented = set(re.findall(r"`-(.)", first_cells(section(reference, "Options"))))
    expect_equal("option", set(declared.group(1)) - {":"} | {"?"}, documented)
    help_text = subprocess.run([os.path.join(programs, "tolvane"), "-h"], input="\n", text=True,
                               stdout=subprocess.PIPE, check=True).stdout
    shown = set(re.findall(r"^ +-(.)", help_text, re.MULTILINE))
    failures.extend(f"option {letter} of the help is not in the reference"
                    for letter in sorted(shown - documented))
    manual = set(re.findall(r"\\-(\w)", read("man", "tolvane.1").split("\n.SH EXAMPLES")[0]))
    expect_equal("option of the manual page,", manual, documented - {"?", "S"})


def check_environment(reference):
    code = "".join(read(path) for path in
                   glob.glob(os.path.join(source, "src", "**", "*.cpp"), recursive=True))
    used = set(re.findall(r'(?:getenv|FromEnvironment)\("(\w+)"\)', code))
    cells = first_cells(section(reference, "Environment"))
    expect_equal("variable", used, set(re.findall(r"`(\w+)`", cells)))


def check_pages():
    readme = read("README.md")
    for path in sorted(glob.glob(os.path.join(source, "docs", "*.md"))):
        name = os.path.basename(path)
        if f"(docs/{name})" not in readme:
            failures.append(f"docs/{name} is not linked from README.md")
        for link in re.findall(r"\]\(([\w.-]+\.md)", read(path)):
            if not os.path.exists(os.path.join(source, "docs", link)):
                failures.append(f"docs/{name} links {link}, which is not there")


reference = read("docs", "reference.md")
check_options(reference)
check_environment(reference)
check_messages(reference)
check_pages()
if failures:
    sys.exit("\n".join(failures))
