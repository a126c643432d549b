#include "tools/vfwtool/media/avi_check.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

/// What is wrong with a file, a line each.
std::string Findings(const TemporaryFile& file) {
  std::string text;
  CheckStructure(AviReader(file.Name()), [&](const AviFinding& finding) {
    if (finding.frame) {
      text += "frame " + std::to_string(*finding.frame) + ": ";
    }
    text += finding.what + '\n';
  });
  return text;
}

class CheckStructureOf : public testing::Test {
 protected:
  void Store(const AviLimits& limits = {}) {
    StoreSample(file_, SampleHeaders(2), chunks_, limits);
  }
  std::uint32_t WordAt(std::size_t position) {
    return ReadLittleEndian32(file_.Contents(), position);
  }

  const std::vector<SampleChunk> chunks_ = SampleChunks(40, 2);
  TemporaryFile file_{".avi"};
};

TEST_F(CheckStructureOf, WholeFilesFindsNothing) {
  Store();
  EXPECT_EQ(Findings(file_), "");
  Store(kSmallSegments);
  EXPECT_EQ(Findings(file_), "");
}

TEST_F(CheckStructureOf, FilesThatBreakOff) {
  Store();
  const std::string text = file_.Text();
  file_.Store(text.substr(0, text.rfind("00dc", text.find("idx1")) + 8 + 50));
  const std::string findings = Findings(file_);
  EXPECT_TRUE(Contains(findings, "states 1")) << findings;
  EXPECT_TRUE(Contains(findings, "frame 39: breaks off after 50 of 63 bytes")) << findings;
  EXPECT_TRUE(Contains(findings, "there is no index")) << findings;
}

TEST_F(CheckStructureOf, SizesThatWereNeverFilledIn) {
  Store();
  file_.Store(file_.Text().substr(0, file_.PositionOf("idx1")));
  file_.Overwrite(4, LittleEndian(0));
  file_.Overwrite(file_.PositionOf("movi") - 4, LittleEndian(4));
  const std::string findings = Findings(file_);
  EXPECT_TRUE(Contains(findings, "the size of the list RIFF \"AVI \" was never filled in"))
      << findings;
  EXPECT_TRUE(Contains(findings, "the size of the list LIST \"movi\" was never filled in"))
      << findings;
}

TEST_F(CheckStructureOf, TheIndexOfTheOneSegment) {
  Store();
  const std::size_t index = file_.PositionOf("idx1") + 8;
  // The entry of the third frame, after those of three packets and two frames.
  const std::size_t entry = index + 5 * kIndexEntryBytes;
  file_.Overwrite(entry + 12, LittleEndian(WordAt(entry + 12) + 1));
  EXPECT_TRUE(Findings(file_).starts_with("frame 2: the index has it with 75 bytes at byte "))
      << Findings(file_);
  Store();
  file_.Overwrite(index + 4 * kIndexEntryBytes, "JUNK");
  EXPECT_TRUE(Contains(Findings(file_),
                       "the index has 39 entries of stream 2, of which there are 40 chunks"))
      << Findings(file_);
}

TEST_F(CheckStructureOf, OpenDmlIndexes) {
  Store(kSmallSegments);
  const std::size_t superIndex = file_.PositionOf("indx") + 8;
  const auto standardIndex = static_cast<std::size_t>(
      ReadLittleEndian64(file_.Contents(), superIndex + kStandardIndexHeaderBytes));
  const std::size_t entry = standardIndex + 8 + kStandardIndexHeaderBytes + 8;
  file_.Overwrite(entry, LittleEndian(WordAt(entry) + 2));
  EXPECT_TRUE(Findings(file_).starts_with("frame 1: the OpenDML index has it with 37 bytes"))
      << Findings(file_);
  Store(kSmallSegments);
  file_.Overwrite(standardIndex, "JUNK");
  EXPECT_EQ(Findings(file_), "there is no OpenDML index of stream 1 where one should be\n");
  Store(kSmallSegments);
  file_.Overwrite(superIndex + 4, LittleEndian(1));
  EXPECT_TRUE(Contains(Findings(file_), "entries of stream 1, of which there are 40 chunks"))
      << Findings(file_);
  Store(kSmallSegments);
  file_.Overwrite(superIndex - 8, "JUNK");
  EXPECT_TRUE(Contains(Findings(file_), "stream 1 has no OpenDML index, though there are "))
      << Findings(file_);
}

TEST_F(CheckStructureOf, LengthsThatHeadersState) {
  Store();
  const std::size_t length = file_.PositionOf("strh") + 8 + 32;
  file_.Overwrite(length, LittleEndian(41));
  file_.Overwrite(file_.PositionOf("avih") + 8 + 16, LittleEndian(7));
  EXPECT_EQ(Findings(file_),
            "the header of stream 1 states a length of 41, the stream has one of 40\n"
            "the header of the file states 7 frames, there are 40\n");
  Store(kSmallSegments);
  file_.Overwrite(file_.PositionOf("dmlh") + 8, LittleEndian(39));
  EXPECT_EQ(Findings(file_), "the OpenDML header states 39 frames, there are 40\n");
}

TEST_F(CheckStructureOf, RecordsInRecords) {
  Store();
  const std::size_t movie = file_.PositionOf("movi");
  std::string text = file_.Text().substr(0, movie + 4);
  // Deeper than any stack could follow.
  for (int i = 0; i < 100000; ++i) {
    text += "LIST" + LittleEndian(0xFFFFFFF0) + "rec ";
  }
  file_.Store(text);
  EXPECT_TRUE(Contains(Findings(file_), "LIST \"rec \" states "));
}

TEST_F(CheckStructureOf, WhatIsNoChunk) {
  // Nothing false is said of the indexes and lengths behind it.
  for (const AviLimits& limits : {AviLimits{}, kSmallSegments}) {
    Store(limits);
    const std::size_t first = file_.Text().find("00dc", file_.PositionOf("movi"));
    const std::size_t second = file_.Text().find("00dc", first + 1);
    file_.Overwrite(second, std::string(4, '\1'));
    EXPECT_EQ(Findings(file_), "no chunk begins where the one before ends\n");
  }
  // Without an index the frame is gone.
  Store();
  file_.Store(file_.Text().substr(0, file_.PositionOf("idx1")));
  const std::size_t third =
      file_.Text().find("00dc", file_.Text().find("00dc", file_.PositionOf("00dc") + 1) + 1);
  file_.Overwrite(third, std::string(4, '\1'));
  std::string findings = Findings(file_);
  EXPECT_TRUE(Contains(findings,
                       "no chunk begins where the one before ends\nthere is no index\n"
                       "the header of stream 1 states a length of 40, the stream has one "
                       "of 39\nthe header of the file states 40 frames, there are 39\n"))
      << findings;
  // The list of chunks ends before its time.
  Store();
  const std::size_t movie = file_.PositionOf("movi") - 4;
  const std::size_t half = file_.Text().find("01wb", 90000);
  file_.Overwrite(movie, LittleEndian(static_cast<std::uint32_t>(half - movie - 4)));
  EXPECT_EQ(Findings(file_), "the chunk 01wb is out of place\n");
  Store();
  file_.Store(file_.Text() + "some text");
  EXPECT_EQ(Findings(file_), "9 bytes behind the end of the last segment\n");
}

TEST_F(CheckStructureOf, HeadersThatDisagree) {
  struct Case {
    const char* list;
    std::size_t offset;
    std::string bytes;
    std::string finding;
  };
  using std::string_literals::operator""s;
  for (const Case& entry : {
           Case{"avih", 4, LittleEndian(40), "avih has 40 bytes, not 56\n"},
           Case{"avih", 8, LittleEndian(1),
                "the header of the file states 1 us a frame, the video has 33367\n"},
           Case{"avih", 20, LittleEndian(0),
                "the header of the file states no index, but there is one\n"},
           Case{"avih", 32, LittleEndian(7),
                "the header of the file states 7 streams, there are 2\n"},
           Case{"avih", 40, LittleEndian(1),
                "the header of the file states pictures of 1x48, the video has 64x48\n"},
           Case{"avih", 44, LittleEndian(9999),
                "the header of the file states pictures of 64x9999, the video has 64x48\n"},
           Case{"vids", 4, "QIVM",
                "the headers of stream 1 state the handler QIVM, but frames of the code RGB\n"},
           Case{"auds", 20, LittleEndian(0), "the headers of stream 2 state no rate\n"},
           Case{"auds", 24, LittleEndian(0), "the headers of stream 2 state no rate\n"},
           Case{"auds", 24, LittleEndian(24000),
                "the headers of stream 2 state a rate of 24000, samples come at 48000 Hz\n"},
           Case{"auds", 44, LittleEndian(0),
                "the headers of stream 2 state samples of 0 bytes and blocks of 4\n"},
           Case{"auds", 64, "c\0"s,
                "the headers of stream 2 state coding 99, which is unknown, all else that of "
                "PCM\n"},
           Case{"auds", 76, "\0\0"s, "the headers of stream 2 state blocks of no bytes\n"},
           Case{"auds", 78, "\x8\0"s,
                "the headers of stream 2 state blocks of 4 bytes, samples have 2\n"},
           Case{"strf", 4, LittleEndian(0x7FFFFFFF), "strf states "},
           Case{"strl", static_cast<std::size_t>(-4), LittleEndian(0x7FFFFFFF),
                "LIST \"strl\" states "},
       }) {
    Store();
    file_.Overwrite(file_.PositionOf(entry.list) + entry.offset, entry.bytes);
    EXPECT_TRUE(Contains(Findings(file_), entry.finding)) << entry.finding << "in\n"
                                                          << Findings(file_);
  }
  Store();
  const std::size_t index = file_.PositionOf("idx1");
  std::string text = file_.Text() + "12345\0"s;
  file_.Store(text);
  file_.Overwrite(index + 4, LittleEndian(WordAt(index + 4) + 5));
  file_.Overwrite(4, LittleEndian(WordAt(4) + 6));
  EXPECT_EQ(Findings(file_), "the index has 5 bytes behind its last whole entry\n");
}

}  // namespace
}  // namespace vfwtool
