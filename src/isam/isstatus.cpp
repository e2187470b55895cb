#include "isam/isstatus.h"

#include <isam.h>

#include <algorithm>
#include <iterator>

extern "C" {

int iserrno = 0;
int iserrio = 0;
std::int32_t isrecnum = 0;
int isreclen = 0;
char isstat1 = '0', isstat2 = '0', isstat3 = '0', isstat4 = '0';
int ispid = 0;

const char* const is_errlist[] = {
    "Duplicate record",
    "File not open",
    "Illegal argument",
    "Bad key descriptor",
    "Too many files",
    "Corrupted isam file",
    "Need exclusive access",
    "Record or file locked",
    "Index already exists",
    "Illegal primary key operation",
    "End of file",
    "Record not found",
    "No current record",
    "File is in use",
    "File name too long",
    "Bad lock device",
    "Can't allocate memory",
    "Bad collating table",
    "Can't read log record",
    "Bad log record",
    "Can't open log file",
    "Can't write log record",
    "No transaction",
    "No shared memory",
    "No begin work yet",
    "Can't use nfs",
    "Bad rowid",
    "No primary key",
    "No logging",
    "Too many users",
    "No such dbspace",
    "No free disk space",
    "Rowsize too big",
    "Audit trail exists",
    "No more locks",
    "",
    "No remote connection",
    "Number of clients exceeded",
    "Auto repair in progress",
    "Bad host address",
    "No schema defined",
    "Schema alread defined",
    "Function not available",
    "Invalid error code",
    "data file read error",
    "data record corrupt",
};
const int is_nerr = static_cast<int>(std::size(is_errlist));

int is_errno(void) { return iserrno; }
int is_errio(void) { return iserrio; }
std::int32_t is_recnum(void) { return isrecnum; }
int is_reclen(void) { return isreclen; }
int is_cobol_err(int word, char status[4]) { return isam::isCobolErr(word, status); }

}  // extern "C"

namespace isam {
namespace {

// Status characters by error range. 'h' stands for the hint, 'H' for the hint with 0 for none.
struct StatusRule {
  int first, last;
  char hint;  // '*': any
  char status[5];
};

// The first rule that fits counts; '/' is the character without a meaning.
constexpr StatusRule kRules[] = {
    {2, 2, '*', "0035"},     {17, 17, '*', "3000"},   {100, 100, '*', "2222"},
    {101, 101, '*', "904H"}, {102, 102, '/', "9090"}, {102, 102, '4', "9044"},
    {102, 102, '7', "903h"}, {102, 102, '9', "903h"}, {102, 102, '*', "90//"},
    {103, 109, '*', "9090"}, {113, 114, '*', "9090"}, {116, 116, '*', "9090"},
    {110, 110, '6', "1046"}, {110, 110, '*', "1010"}, {111, 111, '*', "2323"},
    {112, 112, '*', "214H"}, {115, 115, '*', "9000"}, {117, 122, '*', "9000"},
    {124, 129, '*', "9000"}, {131, 134, '*', "9000"},
};

char Resolve(char rule, char hint) {
  if (rule == 'h') return hint;
  if (rule == 'H') return hint == '/' ? '0' : hint;
  return rule;
}

}  // namespace

int PackError(int error, char hint) {
  const auto* const rule =
      std::find_if(std::begin(kRules), std::end(kRules), [=](const StatusRule& candidate) {
        return error >= candidate.first && error <= candidate.last &&
               (candidate.hint == '*' || candidate.hint == hint);
      });
  const char* const status = rule == std::end(kRules) ? "////" : rule->status;
  int word = error + 1;
  for (int i = 0; i < 4; ++i) word = word * 16 + (Resolve(status[i], hint) + 1) % 16;
  return word;
}

int isCobolErr(int word, char* status) {
  constexpr int kPacked = 0x10000;
  if (word >= kPacked) {
    for (int i = 0; i < 4; ++i) status[i] = static_cast<char>((word >> (12 - 4 * i) & 15) + '/');
    return word / kPacked - 1;
  }
  std::copy_n(word != 0 ? "9090" : "    ", 4, status);
  return word;
}

}  // namespace isam
