// tapeimg: lists a tape image, packs plain files into one, unpacks one into plain files.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "json.h"
#include "media/labels.h"
#include "media/splitbit.h"
#include "media/tape_image.h"
#include "number.h"
#include "platform/paths.h"

namespace {

using tolvane::Byte;
using tolvane::ImageFormat;
using tolvane::TapeObject;
using tools::Json;

constexpr int kSound = 0, kDamaged = 1, kUnusable = 2;
constexpr std::size_t kDefaultBlock = 32760;
constexpr std::size_t kMostInBlock = 0xFFFFFF;

constexpr const char* kHelp =
    "usage: tapeimg list [--json] IMAGE             what is on the image, object by object\n"
    "       tapeimg pack [--block N] IMAGE FILE...  a new image: each file in blocks of N bytes\n"
    "                                               (32760), then a tape mark; two at the end\n"
    "       tapeimg unpack IMAGE FOLDER             the data between tape marks as plain files\n"
    "                                               FOLDER/file-001, file-002, ...\n"
    "       tapeimg header VOLUME                   the header file with which tolvane writes a "
    "COPYG\n"
    "                                               volume like VOLUME, an image or a plain file\n"
    "IMAGE is a name that ends in .tap or .aws, or has the prefix tap: or aws:.\n"
    "An empty file can not be packed: two tape marks are the end of a tape.\n"
    "Exit status: 0 done, 1 the image is damaged or has blocks read with an error, 2 it cannot be\n"
    "used.\n";

struct Image {
  ImageFormat format;
  std::string path;
};

struct Command;

struct Arguments {
  const Command* command = nullptr;
  bool json = false;
  std::size_t block = kDefaultBlock;
  std::vector<std::string> names;
  std::optional<Image> image{};  // that the first name is
};

std::optional<Image> ImageOf(const std::string& name) {
  const auto parsed = tolvane::ParseImagePath(name);
  if (parsed.is_image) return Image{parsed.format, parsed.list};
  if (name.ends_with(".tap")) return Image{ImageFormat::kTap, name};
  if (name.ends_with(".aws")) return Image{ImageFormat::kAws, name};
  return std::nullopt;
}

int Fail(const std::string& name) {
  std::fprintf(stderr, "tapeimg: '%s': %s\n", name.c_str(), std::strerror(errno));
  return kUnusable;
}

const char* KindName(const TapeObject& object) {
  switch (object.kind) {
    case TapeObject::Kind::kBlock:
      return object.read_error ? "block read with an error" : "block";
    case TapeObject::Kind::kMark:
      return "tape mark";
    case TapeObject::Kind::kGap:
      return "gap";
    case TapeObject::Kind::kEnd:
      return "end";
    case TapeObject::Kind::kDamage:
      return "damage";
  }
  return "";
}

// What a label says, in words; empty for any other block.
std::string DescribeLabel(std::span<const Byte> block) {
  using namespace tolvane;  // NOLINT(google-build-using-namespace)
  const auto text = ReadLabel(block, true);
  if (!text) return "";
  std::string said = LabelField(*text, label::kName);
  if (said == "VOL1") return said + " serial " + LabelField(*text, label::kVolumeSerial);
  if (said.ends_with('1'))
    return said + " file " + LabelField(*text, label::kFileLabel) + ", volume " +
           LabelField(*text, label::kSequence) + ", blocks " +
           LabelField(*text, label::kBlockCount);
  return said + " format " + LabelField(*text, label::kFormat) + ", block " +
         LabelField(*text, label::kBlockLength) + ", record " +
         LabelField(*text, label::kRecordLength);
}

void PrintObject(const TapeObject& object, bool json, bool first) {
  const std::string label = DescribeLabel(object.data);
  const std::string& note = object.kind == TapeObject::Kind::kDamage ? object.damage : label;
  if (json) {
    std::printf("%s\n  {\"offset\": %lu, \"object\": %s, \"length\": %zu, \"note\": %s}",
                first ? "" : ",", object.offset, Json(KindName(object)).c_str(), object.data.size(),
                Json(note).c_str());
  } else {
    std::printf("%10lu  %-10s %8zu  %s\n", object.offset, KindName(object), object.data.size(),
                note.c_str());
  }
}

int List(const Arguments& arguments) {
  const Image& image = *arguments.image;
  tolvane::TapeImageReader reader(image.format);
  if (!reader.Open(image.path)) return Fail(image.path);
  if (arguments.json) std::printf("[");
  for (bool first = true;; first = false) {
    const TapeObject object = reader.Next();
    PrintObject(object, arguments.json, first);
    const bool damaged = object.kind == TapeObject::Kind::kDamage;
    if (!damaged && object.kind != TapeObject::Kind::kEnd) continue;
    if (arguments.json) std::printf("\n]\n");
    return damaged ? kDamaged : kSound;
  }
}

// Whether a file can be packed, found before the image is emptied; false after a message.
bool IsInput(const std::string& name, const std::string& image) {
  std::error_code error;
  const char* fault = nullptr;
  if (access(name.c_str(), R_OK) != 0) {
    fault = std::strerror(errno);
  } else if (std::filesystem::is_directory(name, error)) {
    fault = std::strerror(EISDIR);
  } else if (tolvane::IsSameFile(name, image)) {
    fault = "it is the image itself";
  } else if (std::filesystem::is_regular_file(name, error) &&
             std::filesystem::file_size(name, error) == 0) {
    fault = "it is empty, and two tape marks would end the tape";
  }
  if (fault != nullptr) std::fprintf(stderr, "tapeimg: '%s': %s\n", name.c_str(), fault);
  return fault == nullptr;
}

// Puts one file on the image; false after a message.
bool PackFile(const std::string& name, std::size_t block, tolvane::TapeImageWriter& writer) {
  std::ifstream in(name, std::ios::binary);
  std::vector<char> buffer(block);
  while (in.read(buffer.data(), static_cast<std::streamsize>(block)) || in.gcount() > 0) {
    const std::string_view got(buffer.data(), static_cast<std::size_t>(in.gcount()));
    const std::vector<Byte> bytes(got.begin(), got.end());
    writer.WriteBlock(bytes);
  }
  if (in.eof()) {
    writer.WriteMark();
    return true;
  }
  (void)Fail(name);
  return false;
}

int Pack(const Arguments& arguments) {
  const Image& image = *arguments.image;
  for (std::size_t i = 1; i < arguments.names.size(); ++i)
    if (!IsInput(arguments.names[i], image.path)) return kUnusable;
  tolvane::TapeImageWriter writer(image.format);
  if (!writer.Open(image.path)) return Fail(image.path);
  for (std::size_t i = 1; i < arguments.names.size(); ++i)
    if (!PackFile(arguments.names[i], arguments.block, writer)) return kUnusable;
  writer.WriteMark();
  return writer.Close() ? kSound : Fail(image.path);
}

std::string UnpackedName(const std::string& folder, int number) {
  char name[32];
  std::snprintf(name, sizeof name, "/file-%03d", number);
  return folder + name;
}

// What stood between two marks.
struct Unpacked {
  std::size_t blocks = 0;
  bool read_error = false;
  TapeObject end{};  // the object that ended it
};

// Writes the blocks up to the next mark to a file, if there are any. Nothing after a message.
std::optional<Unpacked> UnpackFile(tolvane::TapeImageReader& reader, const std::string& name) {
  Unpacked unpacked;
  std::ofstream out;
  for (;;) {
    unpacked.end = reader.Next();
    const TapeObject& object = unpacked.end;
    if (object.kind == TapeObject::Kind::kGap) continue;
    if (object.kind != TapeObject::Kind::kBlock) {
      if (!out.is_open() || out.flush()) return unpacked;
      break;
    }
    if (object.read_error)
      std::fprintf(stderr, "tapeimg: %s: the block at offset %lu was read with an error\n",
                   name.c_str(), object.offset);
    unpacked.read_error = unpacked.read_error || object.read_error;
    if (++unpacked.blocks == 1) out.open(name, std::ios::binary | std::ios::trunc);
    for (const Byte byte : object.data) out.put(static_cast<char>(byte));
    if (!out) break;
  }
  (void)Fail(name);
  return std::nullopt;
}

int Unpack(const Arguments& arguments) {
  const Image& image = *arguments.image;
  tolvane::TapeImageReader reader(image.format);
  if (!reader.Open(image.path)) return Fail(image.path);
  std::error_code error;
  std::filesystem::create_directories(arguments.names[1], error);
  int result = kSound;
  int written = 0;  // files; those without blocks wait until one with blocks follows
  for (int number = 1;; ++number) {
    const auto unpacked = UnpackFile(reader, UnpackedName(arguments.names[1], number));
    if (!unpacked) return kUnusable;
    while (unpacked->blocks > 0 && ++written < number)
      if (!std::ofstream(UnpackedName(arguments.names[1], written)))
        return Fail(UnpackedName(arguments.names[1], written));
    if (unpacked->read_error) result = kDamaged;
    const TapeObject& end = unpacked->end;
    if (end.kind == TapeObject::Kind::kEnd) return result;
    if (end.kind == TapeObject::Kind::kMark) continue;
    std::fprintf(stderr, "tapeimg: '%s', offset %lu: %s\n", image.path.c_str(), end.offset,
                 end.damage.c_str());
    return kDamaged;
  }
}

// The first `most` bytes of a plain file or an image behind its labels, or some more; fewer when
// there are no more, none after a message.
std::optional<std::vector<Byte>> BeginningOfFile(const std::string& name, std::size_t most) {
  std::ifstream in(name, std::ios::binary);
  if (!in) {
    (void)Fail(name);
    return std::nullopt;
  }
  constexpr std::size_t kMostLabels = 10;
  std::vector<Byte> bytes(most + kMostLabels * tolvane::kLabelSize);
  in.read(reinterpret_cast<char*>(bytes.data()),  // NOLINT: bytes
          static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  while (bytes.size() > tolvane::kLabelSize &&
         tolvane::ReadLabel(std::span(bytes).first(tolvane::kLabelSize), true))
    bytes.erase(bytes.begin(), bytes.begin() + tolvane::kLabelSize);
  return bytes;
}

std::optional<std::vector<Byte>> BeginningOfImage(const Image& image, std::size_t most) {
  std::vector<Byte> bytes;
  tolvane::TapeImageReader reader(image.format);
  if (!reader.Open(image.path)) {
    (void)Fail(image.path);
    return std::nullopt;
  }
  while (bytes.size() < most) {
    const TapeObject object = reader.Next();
    if (object.kind == TapeObject::Kind::kEnd || object.kind == TapeObject::Kind::kDamage) break;
    if (object.kind == TapeObject::Kind::kBlock && !tolvane::ReadLabel(object.data, true))
      bytes.insert(bytes.end(), object.data.begin(), object.data.end());
  }
  return bytes;
}

// The half-words of the header, of the first block's head and of the label, 8 octal numbers a line.
int Header(const Arguments& arguments) {
  constexpr std::size_t kGroups = 29, kNumbers = 120, kOnLine = 8;
  constexpr std::size_t kBytes = kGroups * tolvane::kGroupBytes;
  const std::string& name = arguments.names[0];
  const std::optional<std::vector<Byte>> bytes =
      arguments.image ? BeginningOfImage(*arguments.image, kBytes) : BeginningOfFile(name, kBytes);
  if (!bytes) return kUnusable;
  if (bytes->size() < kBytes) {
    std::fprintf(stderr, "tapeimg: '%s' is too short for a COPYG volume\n", name.c_str());
    return kUnusable;
  }
  for (std::size_t i = 0; i < kNumbers; ++i) {
    const std::size_t group = i / 4;
    const int half = static_cast<int>(i % 4) + 1;
    const unsigned number =
        group < kGroups ? tolvane::splitHalf(&(*bytes)[group * tolvane::kGroupBytes], half) : 0;
    std::printf("%06o%s", number, i % kOnLine == kOnLine - 1 ? "\n" : "");
  }
  return kSound;
}

struct Command {
  const char* name;
  std::size_t least, most;  // names that it takes
  bool wants_image;         // the first one is an image
  int (*run)(const Arguments& arguments);
};
constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();
constexpr Command kCommands[] = {
    {"list", 1, 1, true, List},
    {"pack", 2, kAnyNumber, true, Pack},
    {"unpack", 2, 2, true, Unpack},
    {"header", 1, 1, false, Header},
};

std::optional<Arguments> Parse(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--json") {
      arguments.json = true;
    } else if (word == "--block" && i + 1 < argc) {
      arguments.block = tolvane::NumberOf(argv[++i]).value_or(0);
    } else if (word.starts_with("--")) {
      return std::nullopt;
    } else {
      arguments.names.push_back(word);
    }
  }
  if (arguments.names.size() < 2 || arguments.block < 1 || arguments.block > kMostInBlock)
    return std::nullopt;
  const auto* const command =
      std::find_if(std::begin(kCommands), std::end(kCommands),
                   [&](const Command& row) { return arguments.names[0] == row.name; });
  arguments.names.erase(arguments.names.begin());
  const std::size_t names = arguments.names.size();
  if (command == std::end(kCommands) || names < command->least || names > command->most)
    return std::nullopt;
  arguments.command = command;
  arguments.image = ImageOf(arguments.names[0]);
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  if (std::find(argv + 1, argv + argc, std::string_view("--help")) != argv + argc) {
    std::fputs(kHelp, stdout);
    return kSound;
  }
  const auto arguments = Parse(argc, argv);
  if (!arguments) {
    std::fputs(kHelp, stderr);
    return kUnusable;
  }
  if (!arguments->command->wants_image || arguments->image)
    return arguments->command->run(*arguments);
  std::fprintf(stderr, "tapeimg: '%s': name the container with tap: or aws:\n",
               arguments->names[0].c_str());
  return kUnusable;
}
