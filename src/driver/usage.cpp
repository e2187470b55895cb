#include "driver/scrio.h"
#include "platform/console.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

constexpr const char* kProduct = "Moves data files between mainframes and the Zorva platform";
constexpr const char* kVersion = "2023/01/01 2.5 R0 - 0440";

constexpr const char* kFirstPage[] = {
    "Where: \n",
    "  -G <name> file containing grammar input ( preferred method )\n",
    "  -a <name> add file definition to Zorva catalogue\n",
    "  -b        backup  -fi to -fo \n",
    "  -c        create file named by -fo  \n",
    "  -d        delete file named by -fo  \n",
    "  -e        backup file is in EBCDIC  \n",
    "  -fi       input file for backup/restore functions \n",
    "  -fo       output file for create/delete/backup/restore functions\n",
    "  -g        get file information from Zorva catalogue\n",
    "  -h        display this help information \n",
    "  -i        indexed file operation \n",
    "  -j        direct(relative) or \"line sequential\" file operation \n",
    "  -k#:n,m   key information for indexed files where:\n",
    "      #     key number 1-10\n",
    "      n     key location\n",
    "      m     key length\n",
    "  -m        backup file is MSDOS format\n",
    "  -p        do not post-process elements (from COPOUT)\n",
    "  -q        sequential file operation \n",
    "  -r        restore -fi to -fo \n",
};

constexpr const char* kSecondPage[] = {
    "  -Q        Quiet mode - do not display the conversion progress\n",
    "  -s        record size of datafile \n",
    "  -t        backup file is OS/3 created tape \n",
    "  -u        backup file is UNIX format \n",
    "  -v        block size of backup file \n",
    "  -x        display status of file -fo\n",
    "  -y#       start processing records after # skipped \n",
    "  -z#       stop processing records after # transferred \n",
    "  -Blocation:length:occurence of Binary data field \n",
    "  -D        set Duplicate counter to accomodate > 32767 duplicates \n",
    "  -E        use EBCDIC sign for unpacked numeric fields\n",
    "  -C <name> name of Cobol Header defining file layout\n",
    "  -F <name> file to store output from -C option\n",
    "  -MF       using Micro Focus cobol compiler on data file \n",
    "  -MBP      using MBP cobol compiler on data file \n",
    "  -O        backup file is OS/1100 format (8 bit) \n",
    "  -R:copybook   Report any binary fields of interest in copybook.\n",
    "  -RS:copybook  Same as option R except it produces a one line summary.\n",
    "  -IposEQstring  If statement for conditional processing\n",
    "  -Plocation:length:occurence of Packed data field \n",
    "  -Ulocation:length:occurence of UnpPacked signed data \n",
};

}  // namespace

void PrintBanner() {
  PrintOutput("\nOmbrix (TM) - %s\n", kProduct);
  PrintOutput("%s - Version %s\n\n", "tolvane", kVersion);
}

void usage() {
  PrintBanner();
  PrintOutput("Usage: %s [-Gabcde,fi,fo,ghijkmqrstuvxyzBDCF,MF,MBP,O,RS,IPU]\n\n", progName);
  for (const char* line : kFirstPage) PrintOutput("%s", line);
  const std::string answer = Ask({"\n Press return for more options.  Q to quit > ",
                                  "\nAuto answer assuming Quit.\n", "Q", "Q"},
                                 opt.sw_automatic != 0);
  if (Answers(answer, 'q') || Answers(answer, 'n')) return;
  for (const char* line : kSecondPage) PrintOutput("%s", line);
}

}  // namespace tolvane
