#include "media/sdf.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvane {
namespace {

// Words packed two to nine bytes.
std::vector<Byte> Pack(std::vector<std::uint64_t> words) {
  if (words.size() % 2 != 0) words.push_back(0);
  std::vector<Byte> bytes;
  for (std::size_t i = 0; i < words.size(); i += 2) {
    Byte group[9];
    StoreBigWidth(group, 5, static_cast<std::int64_t>(words[i] << 4 | words[i + 1] >> 32));
    StoreBigWidth(group + 5, 4, static_cast<std::int64_t>(words[i + 1] & 0xFFFFFFFF));
    bytes.insert(bytes.end(), group, group + 9);
  }
  return bytes;
}

Word Sixths(const std::string& octal) { return std::stoull(octal, nullptr, 8); }

Word Characters(const std::string& four) {
  Word word = 0;
  for (const char c : four) word = word << 9 | static_cast<unsigned char>(c);
  return word;
}

// A stream over bytes in memory, handed out in pieces of odd sizes.
class Bytes {
 public:
  explicit Bytes(std::vector<Byte> bytes) : bytes_(std::move(bytes)) {}
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
  words[0] = Sixths("503335000001");  // "*VX", data type 1
  words[4] = 3;                       // 12 bytes a record
  words[12] = 5;                      // records
  const auto data = [&](std::initializer_list<const char*> texts) {
    words.push_back(std::uint64_t{texts.size()} << 24);
    for (const char* text : texts) words.push_back(Characters(text));
  };
  data({"ABCD", "EFGH"});
  words.push_back(Sixths("520000000000"));  // end of record
  words.push_back(Sixths("510200000000"));  // two words to pass over
  words.insert(words.end(), {Characters("skip"), Characters("skip")});
  data({"IJKL"});
  words.push_back(Sixths("530000000000"));  // continued
  data({"MNOP"});
  data({});
  data({"QRST"});
  words.push_back(Sixths("770000000000"));
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
    words[0] = Sixths(c.first);
    Bytes bytes(Pack(words));
    WordStream stream = bytes.Stream();
    SdfReader reader(stream);
    SdfLabel label;
    ASSERT_TRUE(reader.ReadLabel(label));
    EXPECT_EQ(label.kind, c.kind) << c.first;
  }
}

class Copyg : public ::testing::Test {
 protected:
  Copyg() {
    header_.assign(28, 0);
    header_[0] = Characters("COPY");
    header_[1] = Characters("G   ");
    header_[2] = Sixths("242511123105");
    header_[3] = header_[5] = Sixths("050505050505");
    header_[4] = Sixths("251036241721");
  }
  std::vector<Byte> Block(std::uint64_t fill) const {
    std::vector<std::uint64_t> words(1794, fill);
    words[0] = 0;
    std::vector<Byte> block = Pack(words);
    words[0] = CopygChecksum(block);
    return Pack(words);
  }
  std::vector<std::uint64_t> header_;
};

TEST_F(Copyg, BlocksAreJoinedAndTheirChecksumsVerified) {
  std::vector<Byte> volume = Pack(header_);
  for (const std::uint64_t fill : {1, 2}) {
    const auto block = Block(fill);
    volume.insert(volume.end(), block.begin(), block.end());
  }
  volume[kCopygHeaderBytes + kCopygBlockBytes + 100] ^= 1;
  Bytes bytes(volume);
  WordStream stream = bytes.Stream();
  ASSERT_TRUE(stream.OpenCopyg());
  EXPECT_EQ(stream.qualifier(), "OPDET");
  EXPECT_EQ(stream.file_name(), "PCYOJL");
  Word word;
  ::testing::internal::CaptureStderr();
  std::size_t count = 0;
  while (stream.Next(word)) ++count;
  EXPECT_EQ(count, 2 * 1792U);
  const std::string said = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(said.starts_with("\nWARNING: Block 2 of 'tape' has the checksum ")) << said;
}

TEST_F(Copyg, ChecksumCarriesAroundAndHasNoNegativeZero) {
  std::vector<Byte> block(kCopygBlockBytes, 0);
  EXPECT_EQ(CopygChecksum(block), 0U);
  std::fill(block.begin() + 9, block.begin() + 18, Byte{0xFF});  // four half-words of all ones
  EXPECT_EQ(CopygChecksum(block), 0U);
  block[26] = 1;
  EXPECT_EQ(CopygChecksum(block), 1U);
}

TEST_F(Copyg, OtherFilesAreRefused) {
  header_[0] = Characters("COPX");
  Bytes bytes(Pack(header_));
  WordStream stream = bytes.Stream();
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(stream.OpenCopyg());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "\nERROR: COPYG format expected; NOT FOUND\n\nERROR: Found `COPXG ' instead\n");
}

}  // namespace
}  // namespace tolvane
