// The checker against files that are built here by hand, byte by byte: sound ones, then one damage
// at a time, then rebuilds.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "check.h"
#include "isam/layout.h"
#include "key_order.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace isamck {
namespace {

using tolvane::StoreBig;
using tolvane::StoreBigWidth;
using tolvane::test::FromHex;
using tolvane::test::ProgramResult;
using tolvane::test::ToHex;
namespace layout = isam::layout;

constexpr std::size_t kNode = 512;

// A file under construction: records of 8 bytes "KKKKDDDD", a unique key on the first four bytes
// (root: node 3) and one with duplicates on the last four (root: node 4).
class FileBuilder {
 public:
  FileBuilder() {
    nodes_.resize(4);
    for (std::string& node : nodes_) node.assign(kNode, '\0');
    namespace d = layout::dictionary;
    Node(1).replace(0, 8, FromHex("FE 53 02 02 04 04 01 FF"));
    Put16(1, d::kKeyCount, 2);
    Put8(1, d::kSeven, 7);
    Put8(1, d::kDuplicateWidth, 2);
    Put16(1, d::kRecordLength, 8);
    Put32(1, d::kKeyNode, 2);
    Put32(1, d::kHighNode, 4);
    Put32(1, d::kUniqueId, 1);
    Put8(1, d::kEight, 8);
    Node(1).replace(kNode - 4, 4, "VQRz");
    Node(2).replace(0, 30,
                    FromHex("00 1E 00 00 00 00"
                            "00 0C 00 00 00 03 00 00 04 00 00 00"
                            "00 0C 00 00 00 04 00 80 04 00 04 00"));
    Node(2).replace(kNode - 3, 2, FromHex("FF 7E"));
    Leaf(3, {});
    Leaf(4, {});
  }

  std::string& Node(std::size_t number) { return nodes_[number - 1]; }
  void Put8(std::size_t node, std::size_t at, unsigned value) { Put(node, at, 1, value); }
  void Put16(std::size_t node, std::size_t at, unsigned value) { Put(node, at, 2, value); }
  void Put32(std::size_t node, std::size_t at, std::uint32_t value) { Put(node, at, 4, value); }

  // A tree node with these entries, each the raw bytes of one.
  void Leaf(std::size_t number, const std::vector<std::string>& entries, unsigned level = 0) {
    while (nodes_.size() < number) nodes_.emplace_back(kNode, '\0');
    std::string body;
    for (const std::string& entry : entries) body += entry;
    Node(number).assign(kNode, '\0');
    Put16(number, 0, static_cast<unsigned>(body.size() + 2));
    Node(number).replace(2, body.size(), body);
    Put8(number, kNode - 2, level);
    Put32(1, layout::dictionary::kHighNode, static_cast<std::uint32_t>(nodes_.size()));
  }
  void FreeList(std::size_t number, std::size_t head_at, const std::vector<std::uint32_t>& free,
                std::uint32_t next = 0) {
    Leaf(number, {});
    Put16(number, 0, static_cast<unsigned>(6 + 4 * free.size()));
    Put32(number, 2, next);
    for (std::size_t i = 0; i < free.size(); ++i) Put32(number, 6 + 4 * i, free[i]);
    Node(number).replace(kNode - 3, 2, FromHex("FF 7F"));
    Put32(1, head_at, static_cast<std::uint32_t>(number));
  }
  void Record(const std::string& bytes, bool live = true) {
    data_ += bytes + (live ? '\n' : '\0');
    Put32(1, layout::dictionary::kHighRecord, static_cast<std::uint32_t>(data_.size() / 9));
  }
  // Three records, in both indexes.
  void Fill() {
    for (const char* record : {"AAAAxxxx", "CCCCxxxx", "BBBBwwww"}) Record(record);
    Leaf(3, {Unique("AAAA", 1), Unique("BBBB", 3), Unique("CCCC", 2)});
    Leaf(4, {Counted("wwww", 0, 3), Counted("xxxx", 0, 1), Counted("xxxx", 1, 2)});
  }
  static std::string Unique(const std::string& key, std::uint32_t pointer) {
    return key + Big(pointer, 4);
  }
  static std::string Counted(const std::string& key, unsigned counter, std::uint32_t pointer) {
    return key + Big(counter, 2) + Big(pointer, 4);
  }
  static std::string Big(std::uint64_t value, std::size_t width) {
    std::string bytes(width, '\0');
    StoreBigWidth(reinterpret_cast<Byte*>(bytes.data()), width, static_cast<std::int64_t>(value));
    return bytes;
  }
  [[nodiscard]] std::string index() const {
    std::string file;
    for (const std::string& node : nodes_) file += node;
    return file;
  }
  std::string data_;

 private:
  void Put(std::size_t node, std::size_t at, std::size_t width, std::uint64_t value) {
    Node(node).replace(at, width, Big(value, width));
  }
  std::vector<std::string> nodes_;
};

class IsamCheck : public ::testing::Test {
 protected:
  void Save(const FileBuilder& file) {
    dir_.WriteFile("f.idx", file.index());
    dir_.WriteFile("f.dat", file.data_);
  }
  ProgramResult Isamck(std::vector<std::string> arguments) {
    return tolvane::test::RunProgram(tolvane::test::BuiltProgram("isamck"),
                                     {.arguments = std::move(arguments), .directory = dir_.Path()});
  }
  // The lines of faults and the status.
  std::string Faults(const FileBuilder& file, int status = 1) {
    Save(file);
    const ProgramResult result = Isamck({"f"});
    EXPECT_EQ(result.status, status) << result.out << result.err;
    return result.out.substr(0, result.out.find(status == 0 ? "f: sound" : "f: faulty"));
  }
  tolvane::test::TempDir dir_;
};

TEST_F(IsamCheck, ASoundFileIsSummed) {
  FileBuilder file;
  file.Fill();
  Save(file);
  const ProgramResult result = Isamck({"f"});
  EXPECT_EQ(result.out,
            "f: sound, 3 records, 0 deleted, 0 record numbers and 0 nodes free\n"
            "f: key 1: 4 bytes at 0, unique; depth 1, 1 nodes 5% full, 3 entries\n"
            "f: key 2: 4 bytes at 4, duplicates; depth 1, 1 nodes 6% full, 3 entries\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Isamck({"f.idx"}).out, result.out);
  EXPECT_EQ(
      Isamck({"--json", "f"}).out,
      "[{\"file\": \"f\", \"status\": \"sound\", \"faults\": 0, \"shown\": [], \"records\": 3, "
      "\"deleted\": 0, \"free_records\": 0, \"free_nodes\": 0, \"node_size\": 512, "
      "\"record_length\": 8, \"keys\": [{\"key\": \"4 bytes at 0, unique\", \"depth\": 1, "
      "\"nodes\": 1, \"fill\": 5, \"entries\": 3}, {\"key\": \"4 bytes at 4, duplicates\", "
      "\"depth\": 1, \"nodes\": 1, \"fill\": 6, \"entries\": 3}]}]\n");
}

TEST_F(IsamCheck, FreeListsAndLevelsAreSound) {
  FileBuilder file;
  file.Fill();
  file.Record("DEADDEAD", false);
  file.Leaf(5, {FileBuilder::Unique("AAAA", 1), FileBuilder::Unique("BBBB", 3)});
  file.Leaf(6, {FileBuilder::Unique("CCCC", 2)});
  // The last entry above the leaves stands for everything beyond it.
  file.Leaf(3, {FileBuilder::Unique("BBBz", 5), FileBuilder::Unique("BBzz", 6)}, 1);
  file.FreeList(7, layout::dictionary::kFreeData, {4});
  file.FreeList(8, layout::dictionary::kFreeNodes, {9});
  file.Leaf(9, {});
  EXPECT_EQ(Faults(file, 0), "");
}

struct Damage {
  const char* name;
  void (*damage)(FileBuilder&);
  const char* faults;
};

TEST_F(IsamCheck, EveryDamageIsNamedWithItsPlace) {
  namespace d = layout::dictionary;
  using B = FileBuilder;
  const Damage cases[] = {
      {"key order",
       [](B& f) {
         f.Leaf(3, {B::Unique("BBBB", 3), B::Unique("AAAA", 1), B::Unique("CCCC", 2)});
       },
       "f: node 3, offset 10: its key is out of order\n"},
      {"key twice",
       [](B& f) {
         f.Leaf(4, {B::Counted("wwww", 0, 3), B::Counted("xxxx", 1, 1), B::Counted("xxxx", 1, 2)});
       },
       "f: node 4, offset 22: its key equals the one before\n"},
      {"missing entry",
       [](B& f) {
         f.Leaf(3, {B::Unique("AAAA", 1), B::Unique("CCCC", 2)});
       },
       "f: record 3, offset 18: it is missing in the index with root node 3\n"},
      {"wrong key",
       [](B& f) {
         f.Leaf(3, {B::Unique("AAAA", 1), B::Unique("BBBC", 3), B::Unique("CCCC", 2)});
       },
       "f: node 3, offset 10: record 3 has another key\n"},
      {"record twice",
       [](B& f) {
         f.Leaf(3, {B::Unique("AAAA", 1), B::Unique("BBBB", 3), B::Unique("CCCC", 2),
                    B::Unique("DDDD", 2)});
       },
       "f: node 3, offset 26: record 2 stands in this index twice\n"
       "f: node 3, offset 26: record 2 has another key\n"},
      {"beyond the highest",
       [](B& f) {
         f.Leaf(3, {B::Unique("AAAA", 1), B::Unique("BBBB", 3), B::Unique("CCCC", 2),
                    B::Unique("DDDD", 9)});
       },
       "f: node 3, offset 26: record 9 does not exist\n"},
      {"dead record", [](B& f) { f.data_[8] = '\0'; },
       "f: node 3, offset 2: record 1 is deleted\n"
       "f: node 4, offset 12: record 1 is deleted\n"
       "f: record 1, offset 0: its number is lost: deleted and not free\n"},
      {"status byte", [](B& f) { f.data_[8] = 'x'; },
       "f: record 1, offset 8: its status byte is 120\n"
       "f: node 3, offset 2: record 1 is deleted\n"
       "f: node 4, offset 12: record 1 is deleted\n"
       "f: record 1, offset 0: its number is lost: deleted and not free\n"},
      {"used count", [](B& f) { f.Put16(3, 0, 600); },
       "f: node 3, offset 0: its used count is impossible: 600\n"
       "f: record 1, offset 0: it is missing in the index with root node 3\n"
       "f: record 2, offset 9: it is missing in the index with root node 3\n"
       "f: record 3, offset 18: it is missing in the index with root node 3\n"},
      {"cut entry", [](B& f) { f.Put16(3, 0, 24); },
       "f: node 3, offset 18: an entry runs past the used bytes\n"
       "f: record 2, offset 9: it is missing in the index with root node 3\n"},
      {"lost node", [](B& f) { f.Leaf(5, {}); },
       "f: node 5, offset 0: it is lost: in use nowhere and not free\n"},
      {"node named twice", [](B& f) { f.Put32(2, 20, 3); },
       "f: node 2, offset 0: it names node 3, which belongs to a tree\n"
       "f: record 1, offset 0: it is missing in the index with root node 3\n"
       "f: record 2, offset 9: it is missing in the index with root node 3\n"
       "f: record 3, offset 18: it is missing in the index with root node 3\n"
       "f: node 4, offset 0: it is lost: in use nowhere and not free\n"},
      {"level",
       [](B& f) {
         f.Leaf(5, {B::Unique("AAAA", 1), B::Unique("BBBB", 3), B::Unique("CCCC", 2)}, 3);
         f.Leaf(3, {B::Unique("CCCC", 5)}, 1);
       },
       "f: node 5, offset 510: its level is 3, not 0\n"
       "f: record 1, offset 0: it is missing in the index with root node 3\n"
       "f: record 2, offset 9: it is missing in the index with root node 3\n"
       "f: record 3, offset 18: it is missing in the index with root node 3\n"},
      {"separator",
       [](B& f) {
         f.Leaf(5, {B::Unique("AAAA", 1), B::Unique("BBBB", 3)});
         f.Leaf(6, {B::Unique("CCCC", 2)});
         f.Leaf(3, {B::Unique("AAAB", 5), B::Unique("CCCC", 6)}, 1);
       },
       "f: node 5, offset 10: its key is beyond its separator\n"},
      {"other side",
       [](B& f) {
         f.Leaf(5, {B::Unique("AAAA", 1)});
         f.Leaf(6, {B::Unique("BBBB", 3), B::Unique("CCCC", 2)});
         f.Leaf(3, {B::Unique("BBBB", 5), B::Unique("CCCC", 6)}, 1);
       },
       "f: node 6, offset 2: its key belongs into the node before\n"},
      {"cycle", [](B& f) { f.Leaf(3, {B::Unique("CCCC", 3)}, 1); },
       "f: node 3, offset 2: it names node 3, which belongs to a tree\n"
       "f: record 1, offset 0: it is missing in the index with root node 3\n"
       "f: record 2, offset 9: it is missing in the index with root node 3\n"
       "f: record 3, offset 18: it is missing in the index with root node 3\n"},
      {"live number free",
       [](B& f) {
         f.FreeList(5, d::kFreeData, {2, 2});
       },
       "f: node 5, offset 6: record number 2 lives\n"
       "f: node 5, offset 10: record number 2 lives\n"
       "f: node 5, offset 10: record number 2 is listed twice\n"},
      {"free list mark",
       [](B& f) {
         f.FreeList(5, d::kFreeNodes, {});
         f.Put8(5, kNode - 2, 0x7E);
       },
       "f: node 5, offset 509: it is not marked as a free-list node\n"},
      {"precious with list",
       [](B& f) {
         f.FreeList(5, d::kFreeData, {});
         f.Put16(1, kNode - 6, 2);
       },
       "f: node 1, offset 25: a precious file has a list of free records\n"},
      {"key count", [](B& f) { f.Put16(1, d::kKeyCount, 3); },
       "f: node 1, offset 8: it counts 3 keys, 2 are described\n"},
      {"magic", [](B& f) { f.Put8(1, kNode - 1, 'x'); },
       "f: node 1, offset 508: the closing magic is missing\n"},
      {"short data file", [](B& f) { f.data_.resize(20); },
       "f: data file: it holds 2 whole slots, the dictionary counts 3\n"
       "f: node 3, offset 10: record 3 does not exist\n"
       "f: node 4, offset 2: record 3 does not exist\n"},
      {"high node", [](B& f) { f.Put32(1, d::kHighNode, 0xFFFFFFFF); },
       "f: index file: it holds 4 whole nodes, the dictionary counts 4294967295\n"},
  };
  for (const Damage& c : cases) {
    FileBuilder file;
    file.Fill();
    c.damage(file);
    EXPECT_EQ(Faults(file), c.faults) << c.name;
  }
}

TEST_F(IsamCheck, UnreadableFilesSayWhy) {
  dir_.WriteFile("short.idx", "xx");
  dir_.WriteFile("other.idx", std::string(2000, 'x'));
  dir_.WriteFile("size.idx", FromHex("FE 53 02 02 04 04 12 34") + std::string(2000, '\0'));
  const struct {
    const char* name;
    const char* out;
  } cases[] = {
      {"missing", "missing: unreadable: 'missing.idx': No such file or directory\n"},
      {"short", "short: unreadable: 'short.idx': it is too short for a dictionary\n"},
      {"other", "other: unreadable: 'other.idx': it does not begin as an index file\n"},
      {"size", "size: unreadable: 'size.idx': its node size is impossible: 4661\n"},
  };
  for (const auto& c : cases) {
    const ProgramResult result = Isamck({c.name});
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.status, 2);
  }
}

TEST_F(IsamCheck, AnExclusiveOpenerKeepsItOut) {
  FileBuilder file;
  file.Fill();
  Save(file);
  const int fd = open(dir_.Path("f.idx").c_str(), O_RDWR);
  struct flock region {};
  region.l_type = F_WRLCK;
  region.l_start = 0x7FFFFFFF;
  region.l_len = 1;
  ASSERT_EQ(fcntl(fd, F_SETLK, &region), 0);
  EXPECT_EQ(Isamck({"f"}).out, "f: unreadable: somebody has it open exclusively\n");
  region.l_type = F_RDLCK;
  ASSERT_EQ(fcntl(fd, F_SETLK, &region), 0);
  EXPECT_EQ(Isamck({"f"}).status, 0);
  const ProgramResult rebuild = Isamck({"--rebuild", "f"});
  EXPECT_EQ(rebuild.err,
            "isamck: 'f.idx': it is in use or may not be written; nothing was changed\n");
  EXPECT_EQ(rebuild.status, 2);
  close(fd);
}

class Rebuild : public IsamCheck {
 protected:
  // Enough records for trees of several levels; the second key has many duplicates.
  FileBuilder Many(int count) {
    FileBuilder file;
    for (int i = 0; i < count; ++i) {
      char record[16];
      std::snprintf(record, sizeof record, "%04dd%03d", i * 7919 % 10000, i % 5);
      file.Record(record, i % 10 != 3);
    }
    return file;
  }
};

TEST_F(Rebuild, MakesASoundFileFromTheDataAlone) {
  Save(Many(5000));
  const ProgramResult result = Isamck({"--rebuild", "f"});
  EXPECT_EQ(result.out, "f: rebuilt, 4500 records\n") << result.err;
  const ProgramResult check = Isamck({"f"});
  EXPECT_EQ(check.status, 0) << check.out;
  EXPECT_NE(check.out.find("f: sound, 4500 records, 500 deleted, 500 record numbers"),
            std::string::npos)
      << check.out;
  EXPECT_NE(check.out.find("96% full, 4500 entries"), std::string::npos) << check.out;

  const std::string whole = dir_.ReadFile("f.idx");
  dir_.CutAt("f.idx", 5 * kNode);
  EXPECT_EQ(Isamck({"f"}).status, 1);
  EXPECT_EQ(Isamck({"--rebuild", "f"}).status, 0);
  EXPECT_EQ(Isamck({"f"}).status, 0);
  const std::string again = dir_.ReadFile("f.idx");
  EXPECT_EQ(again.substr(kNode), whole.substr(kNode));
}

TEST_F(Rebuild, KeepsTheOrderOfDuplicatesThatTheOldIndexTells) {
  FileBuilder file;
  file.Fill();
  file.Leaf(4, {FileBuilder::Counted("wwww", 0, 3), FileBuilder::Counted("xxxx", 5, 2),
                FileBuilder::Counted("xxxx", 9, 1)});
  Save(file);
  EXPECT_EQ(Isamck({"--rebuild", "f"}).status, 0);
  EXPECT_EQ(ToHex(dir_.ReadFile("f.idx").substr(3 * kNode, 32)),
            ToHex(FromHex("0020") + FileBuilder::Counted("wwww", 0, 3) +
                  FileBuilder::Counted("xxxx", 0, 2) + FileBuilder::Counted("xxxx", 1, 1)));
}

TEST_F(Rebuild, ReplacesNothingWhenKeysOccurTwice) {
  FileBuilder file;
  file.Fill();
  file.Record("AAAAyyyy");
  Save(file);
  const ProgramResult result = Isamck({"--rebuild", "f"});
  EXPECT_EQ(result.out,
            "f: record 4 has a key that occurs already (4 bytes at 0, unique)\n"
            "f: 1 key violations; nothing was replaced\n");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(dir_.ReadFile("f.idx"), file.index());
  EXPECT_FALSE(dir_.Exists("f.idx.new"));
}

TEST_F(Rebuild, TakesTheDescriptionFromTheCommandLineWhenAllElseIsLost) {
  FileBuilder file;
  file.Fill();
  dir_.WriteFile("f.dat", file.data_ + "tail");
  EXPECT_EQ(Isamck({"--rebuild", "f"}).err,
            "isamck: 'f.idx': No such file or directory; describe the file with --record-length "
            "and --key\n");
  const ProgramResult result = Isamck({"--rebuild", "f", "--record-length", "8", "--key", "0,4",
                                       "--key", "4,4,desc+0,2,int,dups,flags=14"});
  EXPECT_EQ(result.out,
            "f: the data file ends in 4 bytes that are no whole record of 9; they stay where they "
            "are\nf: rebuilt, 3 records\n")
      << result.err;
  const ProgramResult check = Isamck({"f"});
  EXPECT_EQ(check.status, 0) << check.out;
  EXPECT_NE(check.out.find("key 2: 4 bytes at 4 descending, 2 at 0, duplicates, compressed"),
            std::string::npos);
}

// ---- keys

Key OneKey(KeyType type, std::size_t length, bool descending = false) {
  Key key;
  key.parts.push_back({.start = 0, .length = length, .type = type, .descending = descending});
  key.length = length;
  return key;
}

TEST(KeyOrder, EveryTypeHasItsOrder) {
  const struct {
    KeyType type;
    const char *less, *greater;
  } cases[] = {
      {KeyType::kChar, "41 20", "41 42"},
      {KeyType::kChar, "7F 00", "80 00"},
      {KeyType::kInt, "FF FF", "00 01"},
      {KeyType::kInt, "00 7F", "00 80"},
      {KeyType::kLong, "80 00 00 00", "7F FF FF FF"},
      {KeyType::kMachineInt, "FF FF", "01 00"},
      {KeyType::kMachineLong, "02 00 00 00", "00 01 00 00"},
      {KeyType::kDouble, "00 00 00 00 00 00 00 80", "00 00 00 00 00 00 00 00"},
      {KeyType::kDouble, "00 00 00 00 00 00 F0 BF", "00 00 00 00 00 00 F0 3F"},
      {KeyType::kFloat, "00 00 80 3F", "00 00 00 40"},
      {KeyType::kFloat, "00 00 C0 7F", "00 00 80 BF"},  // a NaN is smaller than -1
      {KeyType::kFloat, "00 00 C0 7F", "01 00 C0 7F"},
  };
  for (const auto& c : cases) {
    const std::string less = FromHex(c.less), greater = FromHex(c.greater);
    const auto* a = reinterpret_cast<const Byte*>(less.data());
    const auto* b = reinterpret_cast<const Byte*>(greater.data());
    EXPECT_LT(CompareKeys(OneKey(c.type, less.size()), a, b), 0) << c.less;
    EXPECT_GT(CompareKeys(OneKey(c.type, less.size()), b, a), 0) << c.less;
    EXPECT_GT(CompareKeys(OneKey(c.type, less.size(), true), a, b), 0) << c.less;
    EXPECT_EQ(CompareKeys(OneKey(c.type, less.size()), a, a), 0) << c.less;
  }
}

TEST(KeyOrder, CompressedKeysShareWhatTheyCan) {
  Key key = OneKey(KeyType::kChar, 10);
  key.flags = kLCompress | kTCompress | kDCompress;
  const auto bytes = [](const char* text) { return reinterpret_cast<const Byte*>(text); };
  const std::vector<Byte> smith = StoredKey(key, bytes("SMALL     "), bytes("SMITH     "));
  EXPECT_EQ(smith, (std::vector<Byte>{2, 5, 'I', 'T', 'H'}));
  EXPECT_TRUE(StoredKey(key, bytes("SMITH     "), bytes("SMITH     ")).empty());
  EXPECT_EQ(StoredKey(key, nullptr, bytes("          ")), (std::vector<Byte>{0, 10}));
}

TEST(KeyOrder, TextKeysEndAtTheirZero) {
  const Key key = OneKey(KeyType::kString, 4);
  Byte made[4];
  MakeKey(key, reinterpret_cast<const Byte*>("AB\0Z"), made);
  EXPECT_EQ(ToHex({reinterpret_cast<char*>(made), 4}), "41 42 00 00");
}

}  // namespace
}  // namespace isamck
