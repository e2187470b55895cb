// Labelled tapes, volumes and disk files: what is written is read again, and what goes wrong is
// said.

#include <cerrno>

#include "media/tape_fixture.h"

namespace tolvane {
namespace {

TEST_F(Tape, LabelsAreWrittenToTheByte) {
  ASSERT_EQ(Write("tap:" + dir_.Path("t"), {"aaaa", "bbbb", "cccc"}), 2);
  const std::string file = "PAYROLL          SER001";
  EXPECT_EQ(Blocks("t"), (Records{Padded("VOL1SER001"),
                                  Padded("HDR1" + file + "00010001000101 23318 233180000000OS3 "),
                                  Padded("HDR2F0000800004"), "*", "aaaabbbb", "cccc", "*",
                                  Padded("EOF1" + file + "00010001000101 23318 233180000002OS3 "),
                                  Padded("EOF2F0000800004"), "*"}));
}

TEST_F(Tape, VolumesFollowEachOtherInBothContainers) {
  const Records records{"aaaa", "bbbb", "cccc", "dddd", "eeee"};
  for (const std::string kind : {"tap:", "aws:"}) {
    for (const bool fixed : {true, false}) {
      const std::string list = Images(kind, {"v1=290", "v2=290", "v3"});
      const std::string read_list = Images(kind, {"v1", "v2", "v3"});
      EXPECT_EQ(Write(list, records, fixed), 3) << kind << fixed;
      EXPECT_EQ(Read(read_list, fixed), records) << kind << fixed;
      EXPECT_EQ(complained_, "");
    }
  }
  EXPECT_NE(said_.find("\nReached End of Volume on tape number 1 \n"), std::string::npos);
  EXPECT_EQ(said_.find("Please mount"), std::string::npos);
  ASSERT_EQ(rename(dir_.Path("v3").c_str(), dir_.Path("v3=10").c_str()), 0);
  EXPECT_EQ(Read(Images("aws:", {"v1", "v2", "v3=10"}), false), records) << "a size is for writing";
}

TEST_F(Tape, AFullTapeWithoutSuccessorEndsTheWriting) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Write("tap:" + dir_.Path("v1=290"), {"aaaa", "bbbb", "cccc", "dddd", "eeee"}), -2);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("Block 2 could not be written to"),
            std::string::npos);
}

// A loss that shows only when the pieces go out, at the end of a volume or of the backup.
TEST_F(Tape, NothingFollowsABlockThatAnImageHasLost) {
  sys.write = test::WriteToSmallDisk;
  test::disk_room = 268 + 16 + 5;  // labels, mark, one block and a part of the next
  const struct {
    const char* first;
    std::int64_t result;  // of the writing
    const char* more;
  } cases[] = {{"v1", 4, "\nERROR: Tape objects 6 to 8 could not be written.\n"},
               {"v1=300", -2, ""}};
  for (const auto& c : cases) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Write(Images("tap:", {c.first, "v2"}),
                    {"aaaa", "bbbb", "cccc", "dddd", "eeee", "ffff", "gggg"}),
              c.result);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "\nERROR: Tape object 6 could not be written; nothing is written behind it.\n"
              "\nERROR: Error 28 on file " +
                  dir_.Path("v1") + "\n" + c.more);
    const Records blocks = Blocks("v1");
    ASSERT_EQ(blocks.size(), 5U) << c.first;
    EXPECT_EQ(blocks[4], "aaaabbbb");
    EXPECT_NE(access(dir_.Path("v2").c_str(), F_OK), 0) << "the next volume was begun";
  }
}

TEST_F(Tape, WrongAndMissingVolumesAreAskedFor) {
  const Records records{"aaaa", "bbbb", "cccc", "dddd"};
  ASSERT_EQ(Write(Images("tap:", {"v1=290", "v2"}), records), 2);
  opt.sw_automatic = 1;
  EXPECT_EQ(Read(Images("tap:", {"v1"})), (Records{"aaaa", "bbbb"}));
  EXPECT_EQ(said_,
            "\nReached End of Volume on tape number 1 \n"
            "Please mount tape number 2 and press <enter> OR 'Q' to Quit\n"
            "\nAuto answer assuming Quit.\n");
  EXPECT_EQ(Read(Images("tap:", {"v1", "v1", "v2"})), records);
  EXPECT_NE(said_.find("You have mounted tape number 1. Expecting tape number 2.\n"),
            std::string::npos);
}

TEST_F(Tape, UnlabelledAndOddTapesAreReadAsFarAsTheyGo) {
  const auto write = [this](const Records& objects) { WriteObjects(objects); };
  const std::string path = "tap:" + dir_.Path("t");
  const std::string vol1 = Padded("VOL1SER001"),
                    hdr1 = Padded("HDR1FILE" + std::string(19, ' ') + "0001");
  const std::string eof1 = Padded("EOF1"), eof2 = Padded("EOF2");
  const auto hdr2 = [](const std::string& sizes) { return Padded("HDR2F" + sizes); };

  write({"aaaabbbb", "cccc", "*", "junk"});
  EXPECT_EQ(Read(path), (Records{"aaaa", "bbbb", "cccc"}));
  write({std::string(200, 'a'), "*"});  // longer than a label and than the block size
  EXPECT_EQ(Read(path), Records{});
  EXPECT_EQ(complained_, "\nERROR: Block 1 of '" + path +
                             "' has 200 bytes, more than the block size 8 (of BLOCK SIZE IS or the "
                             "HDR2 label).\n");
  write({vol1, hdr1, hdr2("0000800004"), "*", "aaaabbbb", "*", eof1, eof2, "*"});
  EXPECT_EQ(Read(path), (Records{"aaaa", "bbbb"}));
  write({vol1, hdr1, "*", "aaaa", "*", eof1, eof2, "*"});
  EXPECT_EQ(Read(path), Records{"aaaa"});
  write({vol1, hdr1, hdr2("00A0X00004"), "*", "aaaa", "*", eof1, eof2, "*"});
  EXPECT_EQ(Read(path), Records{"aaaa"});
  EXPECT_NE(complained_.find("has no usable lengths (block '00A0X', record '00004')"),
            std::string::npos);
  write({vol1, hdr1, hdr2("0000800004"), "aaaabbbb", "cccc", "*", eof1, eof2, "*"});
  EXPECT_EQ(Read(path), (Records{"aaaa", "bbbb", "cccc"}));
  EXPECT_NE(complained_.find("There is no tape mark behind the labels"), std::string::npos);
  write({vol1, hdr1, hdr2("0000800004"), "*", "aaaabbbb"});
  EXPECT_EQ(Read(path), (Records{"aaaa", "bbbb"}));
  EXPECT_NE(complained_.find("ends without trailer labels"), std::string::npos);
}

// Labels that lack what should follow them: no data block is lost or taken for a label.
TEST_F(Tape, BrokenHeadersCostNoData) {
  const std::string data80(80, 'd'), data200(200, 'e');
  const std::string vol1 = Padded("VOL1SER001");
  const std::string hdr1 = Padded("HDR1FILE" + std::string(19, ' ') + "0001");
  const std::string hdr2 = Padded("HDR2F0020000004"), uhl1 = Padded("UHL1 user label");
  const std::string eof1 = Padded("EOF1"), eof2 = Padded("EOF2");
  const struct {
    const char* name;
    std::vector<std::string> objects;
    std::size_t records;
  } cases[] = {
      {"data of a label's size without a mark", {vol1, hdr1, hdr2, data80, "*", eof1, eof2}, 20},
      {"long data behind VOL1", {vol1, data200, "*"}, 50},
      {"long data behind HDR1", {vol1, hdr1, data200, "*", eof1, eof2}, 50},
      {"user labels", {vol1, hdr1, hdr2, uhl1, "*", data200, "*", eof1, eof2}, 50},
  };
  for (const auto& c : cases) {
    WriteObjects(c.objects);
    block_size_ = 200;
    EXPECT_EQ(Read("tap:" + dir_.Path("t")).size(), c.records) << c.name << complained_;
  }
}

// Nothing that may cost records goes by without a word.
TEST_F(Tape, WhatDoesNotAgreeWithTheLabelsIsSaid) {
  const std::string hdr1 = Padded("HDR1FILE" + std::string(19, ' ') + "0001");
  const std::string second = Padded("HDR1FILE" + std::string(19, ' ') + "0002");
  const std::string unnumbered = Padded("HDR1FILE" + std::string(19, ' ') + "000A");
  const std::string hdr2 = Padded("HDR2F0008000080"), data(80, 'd');
  const std::string eof1 = Padded("EOF1" + std::string(49, ' ') + "0000002"), eof2 = Padded("EOF2");
  const std::string more =
      "More stands behind the tape mark that ends 'PATH'; only what is before it is read.\n";
  const std::string as_data = "belongs; from there on all is read as data.\n";
  const struct {
    Records objects;
    Records blocks;
    std::string said;
  } cases[] = {
      {{hdr2, hdr1, "*", data},
       {hdr2, hdr1},
       "\nWARNING: 'PATH' has a HDR2 label where VOL1 or HDR1 " + as_data + "\nWARNING: " + more},
      {{Padded("VOL1"), hdr2, "*", eof1, eof2},
       {hdr2},
       "\nWARNING: 'PATH' has a HDR2 label where HDR1 " + as_data +
           "\nWARNING: The EOF1 label of 'PATH' counts 2 blocks; 1 were read.\n"},
      {{data, "*", data}, {data}, "\nWARNING: " + more},
      {{data, "*", "*", data}, {data}, ""},
      {{hdr1, "*", data, data, "*", eof1, eof2, "*"}, {data, data}, ""},
      {{second, "*", data, data, "*", eof1, eof2},
       {data, data},
       "\nWARNING: 'PATH' is tape number 2; what the tapes before it hold is not read.\n"},
      {{unnumbered, "*", data, data, "*", eof1, eof2},
       {data, data},
       "\nWARNING: The HDR1 label of 'PATH' has no usable volume number ('000A'); it counts as "
       "1.\n"},
  };
  const std::string path = "tap:" + dir_.Path("t");
  block_size_ = 80;
  for (const auto& c : cases) {
    WriteObjects(c.objects);
    std::string read, expected, said = c.said;
    for (const std::string& record : Read(path)) read += record;
    for (const std::string& block : c.blocks) expected += block;
    EXPECT_EQ(read, expected) << c.said;
    for (auto at = said.find("PATH"); at != std::string::npos; at = said.find("PATH"))
      said.replace(at, 4, path);
    EXPECT_EQ(complained_, said);
  }
}

TEST_F(Tape, DamageInTheLabelsIsNoEmptyInput) {
  dir_.WriteFile("t", std::string("\x50\0\0\0VOL1", 8));
  errno = 0;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(openTapeIn({.path = "tap:" + dir_.Path("t"), .record_size = 4}), nullptr);
  (void)::testing::internal::GetCapturedStderr();
  EXPECT_EQ(errno, EIO);
}

TEST_F(Tape, BlocksOfMegabytesComeBack) {
  const Records records{std::string(2000000, 'a'), std::string(2000000, 'b')};
  auto tape = openTapeOut({.path = "tap:" + dir_.Path("t"), .record_size = 2000000});
  ASSERT_NE(tape, nullptr);
  for (const std::string& record : records)
    ASSERT_TRUE(putTapeOut(*tape, reinterpret_cast<const Byte*>(record.data())));
  EXPECT_EQ(closeTapeOut(*tape), 2);
  record_size_ = block_size_ = 2000000;
  EXPECT_EQ(Read("tap:" + dir_.Path("t")), records);
}

TEST_F(Tape, AVolumeThatThisRunHasWrittenIsNotBegunAgain) {
  const Records records{"aaaa", "bbbb", "cccc", "dddd"};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Write(Images("tap:", {"v1=290", "v1"}), records), 1);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("File exists"), std::string::npos);
  opt.sw_automatic = 1;
  EXPECT_EQ(Read(Images("tap:", {"v1"})), (Records{"aaaa", "bbbb"}));
}

TEST_F(Tape, TextLinesRunOnAcrossTheBlocksOfATape) {
  TapeImageWriter writer(ImageFormat::kTap);
  ASSERT_TRUE(writer.Open(dir_.Path("t")));
  for (const std::string block : {"ab\nabc", "d\nx\n\n", "last"})
    writer.WriteBlock({reinterpret_cast<const Byte*>(block.data()), block.size()});
  ASSERT_TRUE(writer.Close());
  kind_ = InputKind::kUnixText;
  const Records lines{"ab  ", "abcd", "x   ", "    ", "last"};
  EXPECT_EQ(Read("tap:" + dir_.Path("t")), lines);
  EXPECT_EQ(complained_, "");
  // Between labels, and with another file behind.
  const std::string hdr1 = Padded("HDR1FILE" + std::string(19, ' ') + "0001");
  const Records text{"ab\nabc", "d\nx\n\n", "last", "*"};
  Records labelled{hdr1, "*"}, followed = text;
  labelled.insert(labelled.end(), text.begin(), text.end());
  for (const std::string& object : {Padded("EOF1"), Padded("EOF2"), std::string("*")})
    labelled.push_back(object);
  WriteObjects(labelled);
  EXPECT_EQ(Read("tap:" + dir_.Path("t")), lines);
  EXPECT_EQ(complained_, "");
  followed.emplace_back("more\n");
  WriteObjects(followed);
  EXPECT_EQ(Read("tap:" + dir_.Path("t")), lines);
  kind_ = InputKind::kTape;
}

TEST_F(Tape, BlockSizesAreSettledBeforeTheyAreLabelled) {
  const struct {
    std::int32_t asked;
    bool fixed;
    const char* hdr2;
  } cases[] = {
      {10, true, "HDR2F0000800004"}, {3, true, "HDR2F0000400004"}, {0, false, "HDR2V0001200004"}};
  for (const auto& c : cases) {
    auto tape = openTapeOut({.path = "tap:" + dir_.Path("t"),
                             .block_size = c.asked,
                             .record_size = 4,
                             .volume_serial = "S",
                             .file_label = "L",
                             .fixed = c.fixed});
    ASSERT_NE(tape, nullptr);
    EXPECT_EQ(closeTapeOut(*tape), 0);
    EXPECT_EQ(Blocks("t")[2], Padded(c.hdr2));
  }
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(openTapeOut({.path = "tap:" + dir_.Path("t"), .record_size = 20000000}), nullptr);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("can not be written to"),
            std::string::npos);
  EXPECT_EQ(Blocks("t").size(), 8U) << "a refused size must not empty the image";
}

TEST_F(Tape, ALengthWithoutRoomInItsLabelIsNotTold) {
  std::string header;
  for (int line = 0; line < 15; ++line) header += std::string(48, '0') + "\n";
  dir_.WriteFile("t.hdr", header);
  auto tape = openTapeOut({.path = "tap:" + dir_.Path("t"),
                           .record_size = 100000,
                           .volume_serial = "S",
                           .file_label = "L",
                           .kind = InputKind::kCopyg});
  ASSERT_NE(tape, nullptr);
  (void)closeTapeOut(*tape);
  const std::string hdr2 = Blocks("t")[2];
  EXPECT_EQ(ReadLabel({reinterpret_cast<const Byte*>(hdr2.data()), hdr2.size()}, true),
            Padded("HDR2F0807300000"));
}

TEST_F(Tape, FilesStandBehindThePrefixes) {
  using Paths = std::vector<std::string>;
  EXPECT_EQ(FilesOfVolume("tap:b,a=10K", DriveUse::kWrite), (Paths{"b", "a"}));
  EXPECT_EQ(FilesOfVolume("tap:b,a=10K", DriveUse::kRead), (Paths{"b", "a=10K"}));
  EXPECT_EQ(FilesOfVolume("aws:a", DriveUse::kWrite), Paths{"a"});
  EXPECT_EQ(FilesOfVolume("b,a=10K", DriveUse::kWrite), Paths{"b,a=10K"});
}

// Labels of ours are never followed by others.
TEST_F(Tape, RecordsThatLookLikeLabelsComeBackFromDiskFiles) {
  record_size_ = block_size_ = 80;
  for (const char* const name : {"HDR3", "UHL1", "HDR1", "EOF1", "VOL1"}) {
    auto tape = openTapeOut({.path = dir_.Path("disk"),
                             .block_size = 80,
                             .record_size = 80,
                             .volume_serial = "SER001",
                             .file_label = "PAYROLL"});
    const std::string record = Padded(name);
    ASSERT_TRUE(putTapeOut(*tape, reinterpret_cast<const Byte*>(record.data())));
    EXPECT_EQ(closeTapeOut(*tape), 1);
    EXPECT_EQ(Read(dir_.Path("disk")), Records{record});
  }
}

// An unnamed volume is what the environment names, whatever that is.
TEST_F(Tape, TheEnvironmentNamesFilesAndImagesToo) {
  const Records records{"aaaa", "bbbb", "cccc"};
  for (const std::string kind : {"tap:", "aws:", ""}) {
    setenv("ZORTAPE", (kind + dir_.Path("rewind")).c_str(), 1);
    setenv("ZORTAPENRWD", (kind + dir_.Path("twin")).c_str(), 1);
    for (const char* const unnamed : {"", " x"}) {
      EXPECT_EQ(Write(unnamed, records), 2);
      EXPECT_EQ(Read(kind + dir_.Path("twin")), records) << kind << "'" << unnamed << "'";
      EXPECT_EQ(Read(unnamed), records);
      EXPECT_EQ(FilesOfVolume(unnamed, DriveUse::kRead), Records{dir_.Path("twin")});
    }
    EXPECT_NE(access(dir_.Path("rewind").c_str(), F_OK), 0);
  }
  unsetenv("ZORTAPE");
  unsetenv("ZORTAPENRWD");
  EXPECT_EQ(Write("/dev/tolvane-ctape0", records), -1) << "no file in the place of a drive";
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Tape, LabelledDiskFilesHaveNoMarks) {
  const Records records{"aaaa", "bbbb", "cccc"};
  ASSERT_EQ(Write(dir_.Path("disk"), records), 2);
  EXPECT_EQ(dir_.ReadFile("disk").size(), 3 * 80U + 12 + 2 * 80);
  EXPECT_EQ(Read(dir_.Path("disk")), records);
  ASSERT_EQ(Write(dir_.Path("disk"), records, false), 2);
  EXPECT_EQ(Read(dir_.Path("disk"), false), records);
}

// On a disk file nothing but the labels themselves shows where they end.
TEST_F(Tape, LabelsOfDiskFilesAreCheckedAndTheirRestsAreNoRecords) {
  ASSERT_EQ(Write(dir_.Path("disk"), {"aaaa", "bbbb", "cccc"}), 2);
  const std::string whole = dir_.ReadFile("disk");
  const auto labels = whole.substr(0, 240), data = whole.substr(240, 12);
  const auto trailer = whole.substr(252), eof1 = trailer.substr(0, 80);
  std::string eov1 = eof1, seven = eof1, second = labels;
  eov1[2] = '\xE5';          // V
  seven[59] = '\xF7';        // blocks
  second[80 + 30] = '\xF2';  // number of the volume
  const struct {
    const char* name;
    std::string file;
    std::string said;
  } cases[] = {
      {"without VOL1", whole.substr(80), ""},
      {"EOF1 alone", labels + data + eof1, ""},
      {"cut EOF2", whole.substr(0, whole.size() - 1), "'PATH' ends inside its trailer labels."},
      {"cut EOF1", whole.substr(0, 252 + 20), "'PATH' ends inside its trailer labels."},
      {"no trailer", labels + data, "'PATH' ends without trailer labels."},
      {"EOV", labels + data + eov1 + trailer.substr(80),
       "'PATH' ends volume 1 of its file; the next one is not read."},
      {"count", labels + data + seven, "The EOF1 label of 'PATH' counts 7 blocks; 2 were read."},
      {"volume 2", second + data + trailer,
       "'PATH' is tape number 2; what the tapes before it hold is not read."},
      {"UHL1", labels.substr(0, 200) + '3' + labels.substr(201) + Padded("UHL1") + data + trailer,
       "The UHL1 label of 'PATH' is passed over."},
  };
  const std::string path = dir_.Path("disk");
  for (const auto& c : cases) {
    dir_.WriteFile("disk", c.file);
    EXPECT_EQ(Read(path), (Records{"aaaa", "bbbb", "cccc"})) << c.name;
    std::string said = c.said.empty() ? "" : "\nWARNING: " + c.said + "\n";
    if (const auto at = said.find("PATH"); at != std::string::npos) said.replace(at, 4, path);
    EXPECT_EQ(complained_, said) << c.name;
  }
  record_size_ = block_size_ = 80;
  for (const char* const first : {"VOL1 is loud", "HDR1 payroll"}) {
    const Records lines{Padded(first), Padded("data"), Padded("EOF1 total"),
                        Padded("EOF2 the end")};
    dir_.WriteFile("disk", lines[0] + lines[1] + lines[2] + lines[3]);
    EXPECT_EQ(Read(path), lines);
  }
}

}  // namespace
}  // namespace tolvane
