#!/usr/bin/env bash
# Restores the example payroll and shows what went in and what came out.
#   demo.sh PROGRAMS FOLDER    the built programs; where the files of the demo go
set -euo pipefail
programs=$(cd "$1" && pwd)
mkdir -p "$2" && cd "$2"
rm -f payroll.bak payroll.seq

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
run() { printf '$ %s\n' "$*"; "$@"; }
record() { dd if="$1" bs=80 skip="$2" count=1 status=none | od -A n -t x1z -v -w20; }

export LANG=${LANG:-C} PATH="$programs:$PATH"

say "A payroll backup from a mainframe: 1,000 EBCDIC records of 80 bytes. Record 3, as it came:"
run make_payroll payroll.bak 1000
record payroll.bak 2

say "Restored for Micro Focus COBOL: text translated, one unpacked field (at 41, 7 bytes) with its
sign rewritten, packed (48, 53, 60) and binary (58) fields untouched:"
run tolvane -r -c -q -e -MF -s80 -U41:7 -P48:5:2 -B58:2 -P60:3 -fipayroll.bak -fopayroll.seq </dev/null

say "The same record now:"
record payroll.seq 2
