#!/usr/bin/env bash
# Restores the example payroll into an indexed file, shows what came out, and backs it up again.
#   demo.sh PROGRAMS FOLDER    the built programs; where the files of the demo go
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
programs=$(cd "$1" && pwd)
rm -rf "$2"
mkdir -p "$2/root/zorfiles" && cd "$2"
cp "$here"/payroll.cpy "$here"/*.gra .

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
run() { printf '$ %s\n' "$*"; "$@" </dev/null; }
record() { dd if="$1" bs="$3" skip="$2" count=1 status=none | od -A n -t x1z -v -w20; }

export LANG=${LANG:-C} PATH="$programs:$PATH" ZORROOT=$PWD/root

say "A payroll backup from a mainframe: 1,000 EBCDIC records of 80 bytes. Record 3, as it came:"
run make_payroll payroll.bak 1000
record payroll.bak 2 80

say "The platform's own files, once for all (a root of the demo's own):"
{ tolvane -c -i -k1:0,11 -s512 -foroot/zorfiles/zorsys
  tolvane -c -i -k1:0,26 -s512 -foroot/zorfiles/zorsec
  tolvane -c -i -k1:0,50 -s200 -foroot/zorfiles/zorcatlg; } 2>&1 </dev/null | grep created

say "The job, in the words of a grammar file:"
cat payroll.gra
say "Restored, with a unique prime key and two alternate ones:"
run tolvane -G payroll.gra
say "The same record now (record 3 of the data file):"
record payroll.dat 2 81

say "What the file says of itself, and what the checker finds:"
run tolvane -x -fopayroll
run isamck payroll

say "Three records in the order of the prime key, as text:"
run tolvane -b -i -u -Q -y 10 -z 3 -fipayroll -fofew.txt >/dev/null
cut -c1-48 few.txt

say "Backed up again, back to EBCDIC, and compared with what the mainframe sent:"
run tolvane -G backup.gra -Q
cmp payroll.bak payroll.again && echo "payroll.again equals payroll.bak, byte for byte"
