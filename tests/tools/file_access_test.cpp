#include "tools/vfwtool/file_access.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/avi_limits.h"
#include "tools/vfwtool/stream_output.h"

namespace qivm {
namespace {

TEST(FileAccess, ExtensionsCountInWhateverCase) {
  EXPECT_TRUE(HasExtension("clip.avi", ".avi"));
  EXPECT_TRUE(HasExtension("C:\\CLIP.AVI", ".avi"));
  EXPECT_FALSE(HasExtension("clip.avi.y4m", ".avi"));
  EXPECT_FALSE(HasExtension("avi", ".avi"));
}

TEST(FileAccess, TakesNamesOfAnyScript) {
  const TemporaryFile file("-\xC3\xA4\xE2\x82\xAC\xE6\xBC\xA2.bin");
  file.Store("12345");
  EXPECT_EQ(file.Text(), "12345");
  EXPECT_EQ(FileBytes(file.Name()), 5U);
}

TEST(FileAccess, WhatIsNotThereIsNotOpened) {
  const TemporaryFile file(".bin");
  EXPECT_EQ(FileBytes(file.Name()), std::nullopt);
  const std::string message = MessageOf(ExitCode::kInput, [&] { OpenInput(file.Name()); });
  EXPECT_TRUE(message.starts_with(file.Name() + ": cannot be opened: ")) << message;
  const std::string nowhere = file.Name() + "/no/such/folder";
  EXPECT_TRUE(MessageOf(ExitCode::kOutput, [&] {
                OpenOutput(nowhere);
              }).starts_with(nowhere + ": cannot be created: "));
}

TEST(FileAccess, InputAndOutputMustDiffer) {
  const TemporaryFile file(".bin");
  RequireDifferentFiles(file.Name(), file.Name() + "2");
  RequireDifferentFiles("-", "-");
  file.Store("1");
  const std::string folder = testing::TempDir();
  const std::string detour = folder + "./" + file.Name().substr(folder.size());
  EXPECT_EQ(MessageOf(ExitCode::kUsage, [&] { RequireDifferentFiles(file.Name(), detour); }),
            detour + ": is the input as well");
}

TEST(FileAccess, RemovesFiles) {
  const TemporaryFile file(".bin");
  file.Store("1");
  RemoveFile(file.Name());
  EXPECT_FALSE(file.Exists());
  RemoveFile(testing::TempDir());
  EXPECT_TRUE(std::filesystem::exists(PathOf(testing::TempDir())));
}

#ifndef _WIN32
TEST(FileAccess, AFullDiskIsNoticed) {
  std::ofstream file = OpenOutput("/dev/full");
  WriteText(file, "/dev/full", "text");
  const std::string message = MessageOf(ExitCode::kOutput, [&] { FlushOutput(file, "/dev/full"); });
  EXPECT_TRUE(message.starts_with("/dev/full: cannot be written")) << message;
  std::ofstream other = OpenOutput("/dev/full");
  WriteText(other, "/dev/full", "text");
  EXPECT_EQ(MessageOf(ExitCode::kOutput, [&] { CloseOutput(other, "/dev/full"); }), message);
}
#endif

std::string Segment(const std::string& type, const std::string& contents) {
  std::string text = "RIFF";
  const std::size_t bytes = type.size() + contents.size();
  for (unsigned shift = 0; shift < 32; shift += 8) {
    text += static_cast<char>((bytes >> shift) & 0xFF);
  }
  text += type + contents;
  return bytes % 2 == 0 ? text : text + '\0';
}

void RequireSingle(const std::string& contents) {
  std::istringstream file(contents);
  RequireSingleSegment(file, contents.size(), "clip.avi");
}

TEST(AviLimits, OneSegmentIsReadWhole) {
  EXPECT_NO_THROW(RequireSingle(Segment("AVI ", "contents")));
  EXPECT_NO_THROW(RequireSingle(Segment("AVI ", "odd")));
  EXPECT_NO_THROW(RequireSingle(Segment("AVI ", "followed by rubbish") + "RIFTrubbish"));
  EXPECT_NO_THROW(RequireSingle(Segment("AVI ", "cut short").substr(0, 14)));
}

TEST(AviLimits, FurtherSegmentsAreRefused) {
  for (const char* const contents : {"even", "odd"}) {
    const std::string message = MessageOf(ExitCode::kInput, [&] {
      RequireSingle(Segment("AVI ", contents) + Segment("AVIX", "more"));
    });
    EXPECT_TRUE(Contains(message, "clip.avi: the AVI goes on in further segments")) << message;
  }
}

TEST(AviLimits, WhatIsNoRiffFileIsRefused) {
  EXPECT_EQ(MessageOf(ExitCode::kInput, [] { RequireSingle("YUV4MPEG2 W16 H16"); }),
            "clip.avi: is not an AVI");
  EXPECT_EQ(MessageOf(ExitCode::kInput, [] { RequireSingle("RIFF"); }), "clip.avi: is not an AVI");
  EXPECT_EQ(MessageOf(ExitCode::kInput, [] { RequireSingle(""); }), "clip.avi: is not an AVI");
}

TEST(AviLimits, WhatAviFileCannotReachIsRefused) {
  std::istringstream file(Segment("AVI ", "contents"));
  EXPECT_NO_THROW(RequireSingleSegment(file, kMaxAviBytes, "clip.avi"));
  EXPECT_TRUE(Contains(MessageOf(ExitCode::kInput,
                                 [&] { RequireSingleSegment(file, kMaxAviBytes + 1, "clip.avi"); }),
                       "larger than the 2 GB"));
}

}  // namespace
}  // namespace qivm
