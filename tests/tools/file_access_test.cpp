#include "tools/vfwtool/file_access.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
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

}  // namespace
}  // namespace qivm
