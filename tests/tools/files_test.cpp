#include "tools/vfwtool/base/files.h"

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

TEST(Files, ExtensionsCountInWhateverCase) {
  EXPECT_TRUE(HasExtension("clip.avi", ".avi"));
  EXPECT_TRUE(HasExtension("C:\\CLIP.AVI", ".avi"));
  EXPECT_FALSE(HasExtension("clip.avi.y4m", ".avi"));
  EXPECT_FALSE(HasExtension("avi", ".avi"));
}

TEST(Files, NamesMayBeOfAnyScript) {
  const TemporaryFile file("-\xC3\xA4\xE2\x82\xAC\xE6\xBC\xA2.bin");
  file.Store("12345");
  EXPECT_EQ(file.Text(), "12345");
  EXPECT_EQ(FileBytes(file.Name()), 5U);
}

TEST(Files, WhatIsNotThereIsNotOpened) {
  const TemporaryFile file(".bin");
  EXPECT_EQ(FileBytes(file.Name()), std::nullopt);
  const std::string message = MessageOf(ExitCode::kInput, [&] { OpenInput(file.Name()); });
  EXPECT_TRUE(message.starts_with(file.Name() + ": cannot be opened: ")) << message;
  const std::string nowhere = file.Name() + "/no/such/folder";
  EXPECT_TRUE(MessageOf(ExitCode::kOutput, [&] {
                const Output output(nowhere);
              }).starts_with(nowhere + ": cannot be created: "));
}

TEST(Files, InputAndOutputMustDiffer) {
  const TemporaryFile file(".bin");
  RequireDifferentFiles(file.Name(), file.Name() + "2");
  RequireDifferentFiles("-", "-");
  file.Store("1");
  const std::string folder = testing::TempDir();
  const std::string detour = folder + "./" + file.Name().substr(folder.size());
  EXPECT_EQ(MessageOf(ExitCode::kUsage, [&] { RequireDifferentFiles(file.Name(), detour); }),
            detour + ": is the input as well");
}

TEST(Files, AreTheSameBeforeTheyAreThere) {
  const TemporaryFile file(".bin");
  const std::string folder = testing::TempDir();
  const std::string name = file.Name().substr(folder.size());
  EXPECT_TRUE(AreSameFile(file.Name(), folder + "./" + name));
  EXPECT_TRUE(AreSameFile(name, "./" + name));
  EXPECT_FALSE(AreSameFile(file.Name(), file.Name() + "2"));
  EXPECT_FALSE(AreSameFile("-", "-"));
}

TEST(Input, IsAFileOrTheStandardInput) {
  std::istringstream standard("from outside");
  std::ostringstream out;
  const ToolStreams streams{standard, out, out};
  const TemporaryFile file(".bin");
  file.Store("12345");
  Input named(file.Name(), streams);
  EXPECT_EQ(named.Name(), file.Name());
  EXPECT_EQ(named.Size(), 5U);
  EXPECT_EQ(named.Stream().get(), '1');
  Input unnamed("-", streams);
  EXPECT_EQ(unnamed.Name(), "standard input");
  EXPECT_EQ(unnamed.Size(), std::nullopt);
  EXPECT_EQ(unnamed.Stream().get(), 'f');
}

TEST(Output, WritesBehindAndOver) {
  const TemporaryFile file(".bin");
  Output output(file.Name());
  output.Write("12345678");
  const std::uint8_t bytes[] = {'a', 'b'};
  output.WriteAt(2, bytes);
  output.Write("9");
  output.WriteAt(8, bytes);
  EXPECT_EQ(output.Size(), 10U);
  output.Write("X");
  output.Close();
  EXPECT_EQ(file.Text(), "12ab5678abX");
}

TEST(Output, WorkBrokenOffLeavesWhatIsToBeKept) {
  const TemporaryFile file(".bin");
  {
    Output output(file.Name());
    output.Write("whole");
    output.Keep();
    output.Write(" and a half");
  }
  EXPECT_EQ(file.Text(), "whole");
  {
    Output output(file.Name());
    output.Write("nothing whole");
  }
  EXPECT_FALSE(file.Exists());
}

TEST(Output, IsCutWhereItIsToldTo) {
  const TemporaryFile file(".bin");
  Output output(file.Name());
  output.Write("12345678");
  output.Cut(3);
  output.Write("x");
  output.Close();
  EXPECT_EQ(file.Text(), "123x");
}

TEST(Output, TheStandardOutputStaysOpen) {
  std::istringstream in;
  std::ostringstream out;
  Output output("-", ToolStreams{in, out, out});
  EXPECT_EQ(output.Name(), "standard output");
  output.Write("text");
  output.Close();
  EXPECT_EQ(out.str(), "text");
  out.setstate(std::ios::badbit);
  EXPECT_TRUE(MessageOf(ExitCode::kOutput, [&] {
                Output("-", ToolStreams{in, out, out}).Write("more");
              }).starts_with("standard output: cannot be written"));
}

#ifndef _WIN32
TEST(Output, AFullDiskIsNoticedAtOnce) {
  Output output("/dev/full");
  EXPECT_EQ(MessageOf(ExitCode::kOutput, [&] { output.Write("text"); }),
            "/dev/full: cannot be written: No space left on device");
}
#endif

}  // namespace
}  // namespace vfwtool
