#include "media/sdf.h"

#include <gtest/gtest.h>

#include <string>

#include "support/words.h"

namespace tolvane {
namespace {

using test::Characters;
using test::Octal;
using test::Pack;

// A stream over bytes in memory, handed out in pieces of odd sizes.
class Bytes {
 public:
  explicit Bytes(const std::string& bytes) : bytes_(bytes.begin(), bytes.end()) {}
  WordStream Stream() {
    return WordStream("tape", [this](std::size_t wanted) {
      const std::size_t count = std::min({wanted, bytes_.size() - at_, std::size_t{1001}});
      at_ += count;
      return std::span<const Byte>(bytes_).subspan(at_ - count, count);
    });
  }

 private:
  std::vector<Byte> bytes_;
  std::size_t at_ = 0;
};

std::string Text(const std::vector<std::uint16_t>& quarters) {
  std::string text;
  for (const std::uint16_t quarter : quarters) text += static_cast<char>(quarter);
  return text;
}

TEST(Sdf, RecordsComeOutOfTheirImages) {
  std::vector<std::uint64_t> words(kSdfLabelWords, 0);
  words[0] = Octal("503335000001");  // "*VX", data type 1
  words[4] = 3;                      // 12 bytes a record
  words[12] = 5;                     // records
  const auto data = [&](std::initializer_list<const char*> texts) {
    words.push_back(std::uint64_t{texts.size()} << 24);
    for (const char* text : texts) words.push_back(Characters(text));
  };
  data({"ABCD", "EFGH"});
  words.push_back(Octal("520000000000"));  // end of record
  words.push_back(Octal("510200000000"));  // two words to pass over
  words.insert(words.end(), {Characters("skip"), Characters("skip")});
  data({"IJKL"});
  words.push_back(Octal("530000000000"));  // continued
  data({"MNOP"});
  data({});
  data({"QRST"});
  words.push_back(Octal("770000000000"));
  data({"lost"});

  Bytes bytes(Pack(words));
  WordStream stream = bytes.Stream();
  SdfReader reader(stream);
  SdfLabel label;
  ASSERT_TRUE(reader.ReadLabel(label));
  EXPECT_EQ(label.kind, SdfKind::kData);
  EXPECT_EQ(label.data_type, 1U);
  EXPECT_EQ(label.record_size, 12);
  EXPECT_EQ(label.record_count, 5);
  std::vector<std::uint16_t> record;
  std::vector<std::string> records;
  while (reader.NextRecord(record, 100)) records.push_back(Text(record));
  EXPECT_EQ(records, (std::vector<std::string>{"ABCDEFGH", "IJKLMNOP", "", "QRST"}));
  EXPECT_FALSE(reader.damaged());
}

TEST(Sdf, AnImageThatIsCutEndsTheFileWithAMessage) {
  Bytes bytes(Pack({std::uint64_t{5} << 24, Characters("ABCD")}));
  WordStream stream = bytes.Stream();
  SdfReader reader(stream);
  std::vector<std::uint16_t> record;
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(reader.NextRecord(record, 100));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nERROR: 'tape' ends inside an image of 5 words (block 1).\n");
  EXPECT_TRUE(reader.damaged());
}

// The records of images, and what was said.
std::pair<std::vector<std::string>, std::string> RecordsOf(const test::Words& words,
                                                           std::uint64_t limit) {
  Bytes bytes(Pack(words));
  WordStream stream = bytes.Stream();
  SdfReader reader(stream, limit);
  std::vector<std::uint16_t> record;
  std::vector<std::string> records;
  ::testing::internal::CaptureStderr();
  while (reader.NextRecord(record, 100)) records.push_back(Text(record));
  if (!reader.ended()) records.emplace_back("no end");
  return {records, ::testing::internal::GetCapturedStderr()};
}

TEST(Sdf, RecordsEndWhereTheyShould) {
  using test::operator+;
  using test::Words;
  const Words a = test::Image({Characters("AAAA")}), b = test::Image({Characters("BBBB")});
  const Words bypass{Octal("510100000000"), 0}, continued{test::kContinued};
  const Words end{test::kEndOfFile}, end_of_record{test::kEndOfRecord};
  const std::string cut =
      "\nWARNING: A continuation in block 1 of 'tape' is not followed by data.\n";
  const struct {
    const char* name;
    Words words;
    std::vector<std::string> records;
    std::string said;
    std::uint64_t limit = SdfReader::kNoLimit;
  } cases[] = {
      {"bypass behind a continuation", a + continued + bypass + b + end, {"AAAABBBB"}, ""},
      {"bypass before a continuation", a + bypass + continued + b + end, {"AAAABBBB"}, ""},
      {"continuation without data", a + continued + end_of_record + b + end, {"AAAA", "BBBB"}, cut},
      {"continuation at the end", a + continued + end, {"AAAA"}, cut},
      {"empty records", a + Words(2, 0) + b + end, {"AAAA", "", "", "BBBB"}, ""},
      {"empty records at the end", a + Words(2, 0) + end, {"AAAA", "", ""}, ""},
      {"fill", a + end_of_record + Words(200, 0), {"AAAA", "no end"}, ""},
      {"limit", a + b + end, {"AAAA", "no end"}, "", 2},
      {"fill up to a limit", a + Words(3, 0) + b + end, {"AAAA", "no end"}, "", 5},
      {"image beyond a limit",
       a + b + end,
       {"AAAA", "no end"},
       "\nERROR: An image of 1 words in block 1 of 'tape' runs past the end of its element.\n",
       3},
  };
  for (const auto& c : cases) {
    const auto [records, said] = RecordsOf(c.words, c.limit);
    EXPECT_EQ(records, c.records) << c.name;
    EXPECT_EQ(said, c.said) << c.name;
  }
}

TEST(Sdf, TheFirstWordTellsTheKind) {
  const struct {
    const char* first;
    SdfKind kind;
  } cases[] = {{"503335000043", SdfKind::kData},
               {"502425000001", SdfKind::kPrint},
               {"505012135050", SdfKind::kElement},
               {"000000000000", SdfKind::kOther}};
  for (const auto& c : cases) {
    std::vector<std::uint64_t> words(kSdfLabelWords, 0);
    words[0] = Octal(c.first);
    Bytes bytes(Pack(words));
    WordStream stream = bytes.Stream();
    SdfReader reader(stream);
    SdfLabel label;
    ASSERT_TRUE(reader.ReadLabel(label));
    EXPECT_EQ(label.kind, c.kind) << c.first;
  }
}

TEST(Copyg, BlocksAreJoinedAndTheirChecksumsVerified) {
  std::string volume = Pack(test::CopygHeader("QUALIFIER", "FILE")) +
                       test::CopygBlocks(test::Words(2 * 1792, 0123456701234));
  volume[kCopygHeaderBytes + kCopygBlockBytes + 100] ^= 1;
  Bytes bytes(volume);
  WordStream stream = bytes.Stream();
  ASSERT_TRUE(stream.OpenCopyg());
  EXPECT_EQ(stream.qualifier(), "QUALIFIER");
  EXPECT_EQ(stream.file_name(), "FILE");
  Word word;
  ::testing::internal::CaptureStderr();
  std::size_t count = 0;
  while (stream.Next(word)) ++count;
  EXPECT_EQ(count, 2 * 1792U);
  const std::string said = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(said.starts_with("\nWARNING: Block 2 of 'tape' has the checksum ")) << said;
}

TEST(Copyg, ChecksumCarriesAroundAndHasNoNegativeZero) {
  std::vector<Byte> block(kCopygBlockBytes, 0);
  EXPECT_EQ(CopygChecksum(block), 0U);
  std::fill(block.begin() + 9, block.begin() + 18, Byte{0xFF});  // four half-words of all ones
  EXPECT_EQ(CopygChecksum(block), 0U);
  block[26] = 1;
  EXPECT_EQ(CopygChecksum(block), 1U);
  block[0] = block[2] = 0xFF;  // of its own half-word only the first bits and the last count
  EXPECT_EQ(CopygChecksum(block), 0776004U);
}

}  // namespace
}  // namespace tolvane
