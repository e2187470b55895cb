#include "pipeline/element_files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <map>
#include <string>
#include <utility>

#include "files/apart.h"
#include "files/fileio.h"
#include "media/output_stream.h"
#include "pipeline/progress.h"
#include "platform/console.h"
#include "platform/file_error.h"
#include "platform/interrupt.h"
#include "platform/trace.h"
#include "state/options.h"

namespace tolvane {
namespace {

constexpr std::size_t kMostLineWords = std::size_t{1} << 20;
constexpr unsigned kSpacingMask = 07777;  // of the control word of a spacing image
constexpr unsigned kLinesOnPage = 66;

// The images of a text as text: a line for each record, spacing as line feeds and form feeds.
class TextReader {
 public:
  TextReader(SdfReader& reader, unsigned data_type, bool trims)
      : reader_(reader), data_type_(data_type), trims_(trims) {}

  // The next line or spacing; false at the end of the text.
  [[nodiscard]] bool Next(std::string& piece);
  [[nodiscard]] bool damaged() const { return reader_.damaged(); }
  // The text has ended where it says so.
  [[nodiscard]] bool ended() const { return reader_.ended(); }

 private:
  void MakeLine(std::string& line) const;

  SdfReader& reader_;
  unsigned data_type_;
  bool trims_;
  std::vector<std::uint16_t> record_;
};

bool TextReader::Next(std::string& piece) {
  SdfImage image;
  while (reader_.NextImage(image)) {
    if (!image.is_control) {
      record_.clear();
      if (!reader_.TakeRecord(image, record_, kMostLineWords)) return false;
      MakeLine(piece);
      return true;
    }
    if (!reader_.Pass(image) || image.type == sdf_image::kEndOfFile) return false;
    if (image.type != sdf_image::kSpacing) continue;
    const auto lines = static_cast<unsigned>(image.control & kSpacingMask);
    piece = lines == 0 || lines > kLinesOnPage ? "\f" : std::string(lines, '\n');
    return true;
  }
  return false;
}

void TextReader::MakeLine(std::string& line) const {
  line.clear();
  if (IsNineBit(data_type_)) {
    for (const std::uint16_t quarter : record_) line += static_cast<char>(quarter);
  } else {
    for (std::size_t i = 0; i < record_.size(); i += kQuartersInWord)
      line += FieldataText(JoinQuarters(&record_[i]));
  }
  if (trims_) line.erase(line.find_last_not_of(' ') + 1);
  line += '\n';
}

bool IsTextType(unsigned type) { return IsNineBit(type) || type == sdf_type::kFieldata; }

// Creates the file and writes its text piece by piece.
class TextFile {
 public:
  // Makes `path` the output file. False after a message.
  [[nodiscard]] bool Create(const std::string& path) {
    opt.outfile = path;
    if (CheckRestoreApart(opt.infile, path) == 0 || createRelSeq() == 0) return false;
    if (stream_.Open(path)) return true;
    processError(errno, path);
    return false;
  }
  void Put(const std::string& text) {
    std::copy(text.begin(), text.end(), stream_.Room(text.size()));
    stream_.Commit(text.size());
  }
  // False after a message when something could not be written.
  [[nodiscard]] bool Close() {
    if (!stream_.Close()) {
      processError(errno, opt.outfile);
      return false;
    }
    return stream_.lost() == 0;
  }

 private:
  OutputStream stream_{"Line"};
};

// ---- element files

// An element file is made of records of 40 words. An element begins with one that holds, in words
// counted from 0:
//   0     "**EF**"
//   1, 2  the element's name, 3, 4 its version, in Fieldata
//   5     first sixth: the type of the element; last sixth: that of its characters
//   6     words of its text, which follows and is filled up to whole records
constexpr std::size_t kElementWords = 40;
constexpr const char* kElementMark = "**EF**";
constexpr std::size_t kNameWord = 1, kVersionWord = 3, kTypeWord = 5, kLengthWord = 6;
constexpr std::size_t kNameWords = 2;

constexpr unsigned kSymbolic = 1;
constexpr const char* kTypeNames[] = {"unknown",       "SYMbolic",      "ASM procedure",
                                      "COB procedure", "FOR procedure", "RELocatable",
                                      "ABSolute",      "OMNibus"};

struct Element {
  std::string name, version;
  unsigned type = 0;
  unsigned data_type = 0;
  std::uint64_t words = 0;
};

class ElementFile {
 public:
  explicit ElementFile(TapeIo& tape) : tape_(tape), words_(tape.sdf->words) {}

  int Run();

 private:
  [[nodiscard]] bool ReadElement(Element& element);
  [[nodiscard]] bool ProcessElement(const Element& element);
  [[nodiscard]] bool ReadText(const Element& element, std::string& text);
  void PassRest(const Element& element, std::uint64_t end);
  [[nodiscard]] bool PassTo(std::uint64_t position);
  [[nodiscard]] std::string PathOf(const Element& element);
  void Write(const Element& element, const std::string& text);
  void Skip(const Element& element, const char* reason);
  [[nodiscard]] bool Damaged(const char* what);
  void PrintTotals() const;

  TapeIo& tape_;
  WordStream& words_;
  std::string directory_ = opt.outfile.substr(0, opt.outfile.rfind('/') + 1);
  std::map<std::string, int> written_;  // how often each path was to be written
  bool is_first_ = true;                // its first word has been read as the file's label
  int processed_ = 0;
  int skipped_[std::size(kTypeNames)] = {};
};

int ElementFile::Run() {
  TRACE_FRAME();
  const std::string outfile = opt.outfile;
  Element element;
  while (InterruptScope::Pending() == 0 && ReadElement(element))
    if (!ProcessElement(element)) break;
  opt.outfile = outfile;
  if (tape_.damaged || words_.cut_short()) WarnOfUnreadRest(opt.infile);
  PrintTotals();
  return 1;
}

bool ElementFile::Damaged(const char* what) {
  PrintError("'%s': %s (block %ld).\n", tape_.device.c_str(), what, words_.blocks());
  tape_.damaged = true;
  return false;
}

std::string TextOfWords(const Word* from, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += FieldataText(from[i]);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// False at the end of the file.
bool ElementFile::ReadElement(Element& element) {
  Word words[kElementWords] = {};
  if (!std::exchange(is_first_, false)) {
    if (!words_.Next(words[0]) || words[0] == 0) return false;
    if (FieldataText(words[0]) != kElementMark)
      return Damaged("there is no element where one should begin");
  }
  for (std::size_t i = 1; i < kElementWords; ++i)
    if (!words_.Next(words[i])) return Damaged("the file ends inside the header of an element");
  element.name = TextOfWords(&words[kNameWord], kNameWords);
  element.version = TextOfWords(&words[kVersionWord], kNameWords);
  element.type = Sixth(words[kTypeWord], 0);
  element.data_type = Sixth(words[kTypeWord], 5);
  element.words = words[kLengthWord];
  return true;
}

// Words up to `position`; false when the file ends before.
bool ElementFile::PassTo(std::uint64_t position) {
  return words_.Pass(position - words_.position()) ||
         Damaged("the file ends inside the text of an element");
}

bool IsFileName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '$';
  });
}

// Restores or skips an element and goes on behind it. False when that can not be.
bool ElementFile::ProcessElement(const Element& element) {
  const std::uint64_t begin = words_.position();
  const std::uint64_t next =
      begin + (element.words + kElementWords - 1) / kElementWords * kElementWords;
  if (element.type != kSymbolic) {
    Skip(element, "its type can not be restored");
  } else if (!IsTextType(element.data_type)) {
    Skip(element, "its characters are of an unknown type");
  } else if (!IsFileName(element.name) ||
             (!element.version.empty() && !IsFileName(element.version))) {
    Skip(element, "its name can not be that of a file");
  } else {
    std::string text;
    if (!ReadText(element, text)) {
      Skip(element, "its text is damaged");
      tape_.damaged = true;
    } else {
      Write(element, text);
    }
  }
  return PassTo(next);
}

// The whole text; false when it does not end where it should.
bool ElementFile::ReadText(const Element& element, std::string& text) {
  const std::uint64_t end = words_.position() + element.words;
  SdfReader reader(words_, end);
  TextReader lines(reader, element.data_type, opt.sw_postprocess != 0);
  std::string piece;
  while (lines.Next(piece)) text += piece;
  if (lines.damaged()) return false;
  PassRest(element, end);
  return true;
}

// Passes over what stands behind the end of a text, and says so if it is more than zeros.
void ElementFile::PassRest(const Element& element, std::uint64_t end) {
  bool is_blank = true;
  for (Word word; words_.position() < end && words_.Next(word);) is_blank = is_blank && word == 0;
  if (!is_blank)
    PrintWarning(
        "Element '%s' goes on behind the end-of-file image of its text; that is dropped.\n",
        element.name.c_str());
}

// The file of an element. A name that has come before in this run is made another one.
std::string ElementFile::PathOf(const Element& element) {
  std::string name = element.name + (element.version.empty() ? "" : "." + element.version);
  if (opt.sw_upper_case == 0)
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::string path = directory_ + name;
  const int count = ++written_[path];
  if (count > 1) {
    path += "~" + std::to_string(count);
    PrintWarning("There is more than one element '%s'; this one becomes '%s'.\n", name.c_str(),
                 path.c_str());
  }
  return path;
}

void ElementFile::Write(const Element& element, const std::string& text) {
  const std::string path = PathOf(element);
  PrintOutput("Creating  %s\n", path.c_str());
  TextFile file;
  if (!file.Create(path)) return Skip(element, "its file can not be created");
  file.Put(text);
  if (!file.Close()) return Skip(element, "its file could not be written");
  ++processed_;
}

void ElementFile::Skip(const Element& element, const char* reason) {
  const std::size_t type = element.type < std::size(kTypeNames) ? element.type : 0;
  ++skipped_[type];
  PrintWarning("Element '%s' (%s) is skipped: %s.\n", element.name.c_str(), kTypeNames[type],
               reason);
}

void ElementFile::PrintTotals() const {
  PrintOutput("\n%s", kRule);
  PrintOutput("Total SYMbolic elements processed: %4d\n", processed_);
  for (std::size_t type = 0; type < std::size(kTypeNames); ++type)
    if (skipped_[type] > 0)
      PrintOutput("Total %s elements skipped: %4d\n", kTypeNames[type], skipped_[type]);
  PrintInterruption();
  PrintOutput("%s", kRule);
}

bool OnlyRestores() {
  if (opt.sw_restore != 0) return true;
  PrintError("Print and element files can only be restored.\n");
  return false;
}

}  // namespace

int RestorePrintFile(TapeIo& tape) {
  TRACE_FRAME();
  const unsigned type = tape.sdf->label.data_type;
  if (!OnlyRestores() || VerifyZorFileName(opt.outfile) == 0) return 0;
  if (!IsTextType(type)) {
    PrintError("The characters of '%s' are of an unknown type (%o).\n", tape.device.c_str(), type);
    return 0;
  }
  TextFile file;
  if (!file.Create(opt.outfile)) return 0;
  PrintOutput("Restoring %s from %s.\n", opt.outfile.c_str(), opt.infile.c_str());
  TextReader lines(tape.sdf->reader, type, opt.sw_postprocess != 0);
  std::int64_t written = 0;
  for (std::string piece; InterruptScope::Pending() == 0 && lines.Next(piece); ++written)
    file.Put(piece);
  if (!lines.damaged() && !lines.ended() && InterruptScope::Pending() == 0)
    PrintWarning("'%s' ends without an end-of-file image.\n", tape.device.c_str());
  if (lines.damaged() || tape.damaged) WarnOfUnreadRest(opt.infile);
  PrintOutput("\n%sTOTAL lines written to output file     : %ld\n", kRule, written);
  PrintInterruption();
  PrintOutput("%s", kRule);
  return file.Close() ? 1 : 0;
}

int RestoreElements(TapeIo& tape) { return OnlyRestores() ? ElementFile(tape).Run() : 0; }

}  // namespace tolvane
