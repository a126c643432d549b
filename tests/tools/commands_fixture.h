#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/tools/avi_samples.h"
#include "tests/tools/clips.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/commands/command.h"
#include "tools/vfwtool/media/wav.h"

/// The commands inside this process, with the codec that is built into the tool.
namespace vfwtool {

struct Outcome {
  int code;
  std::string output;
  std::string errors;
};

inline constexpr std::array kCommands = {&kRecordCommand, &kPlayCommand,    &kCopyCommand,
                                         &kInfoCommand,   &kVerifyCommand,  &kExportCommand,
                                         &kImportCommand, &kCompareCommand, &kBenchCommand};

class Commands : public testing::Test {
 protected:
  Commands() { std::filesystem::create_directories(folder_); }
  ~Commands() override { std::filesystem::remove_all(folder_); }

  /// Runs a command line; words that end in a known extension are files of the test's folder.
  Outcome Run(const std::string& line, const std::string& input = {}) const {
    std::vector<std::string> words;
    std::istringstream stream(line);
    for (std::string word; stream >> word;) {
      words.push_back(IsFile(word) ? In(word) : word);
    }
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream errors;
    const Tool tool{.name = "vfwtool", .purpose = "", .version = "", .commands = kCommands};
    const int code = RunTool(tool, words, {in, out, errors});
    return {code, out.str(), errors.str()};
  }

  /// Runs a command line that must succeed without complaints; what it prints.
  std::string Do(const std::string& line) const {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.code, 0) << line << ": " << outcome.errors;
    EXPECT_EQ(outcome.errors, "") << line;
    return outcome.output;
  }

  void ExpectFailure(const std::string& line, ExitCode code, const std::string& message) const {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.code, static_cast<int>(code)) << line << ": " << outcome.errors;
    EXPECT_TRUE(Contains(outcome.errors, message)) << line << ": " << outcome.errors;
  }

  std::string In(const std::string& name) const { return (folder_ / name).string(); }
  Bytes Contents(const std::string& name) const { return ContentsOf(In(name)); }
  bool Exists(const std::string& name) const { return std::filesystem::exists(In(name)); }

  void Store(const std::string& name, const Bytes& contents) const {
    std::ofstream file(In(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(contents.data()),
               static_cast<std::streamsize>(contents.size()));
  }

  /// A clip of `frames` frames of 64x48, and sound that ends 100 samples behind it.
  void StoreClip(const std::string& name, std::size_t frames,
                 FieldOrder fields = FieldOrder::kTopFirst) const {
    const ClipFormat format{kLayout, {25, 1}, fields};
    std::vector<Picture> pictures = TestPictures(kLayout, frames);
    for (std::size_t i = 0; i < frames; ++i) {
      // Smooth enough for small frames; each of another grey.
      for (std::size_t j = 0; j < pictures[i].size(); j += 2) {
        pictures[i][j] = static_cast<std::uint8_t>(40 + 3 * i + j % 13);
        pictures[i][j + 1] = 128;
      }
    }
    StoreY4m(In(name + ".y4m"), format, pictures);
    WavWriter wav(In(name + ".wav"), SamplePcm().format);
    wav.Write(SampleBytes(4 * (frames * 1920 + 100), frames));
    wav.Finish();
  }

  /// Records such a clip with its sound.
  void RecordClip(const std::string& name, std::size_t frames) const {
    StoreClip(name, frames);
    Do("record " + name + ".y4m -o " + name + ".avi --sound " + name + ".wav -q");
  }

  /// Puts bytes over the middle of a frame's slices.
  void DamageFrame(const std::string& name, std::uint32_t frame) const {
    const AviChunk chunk = AviReader(In(name)).Frame(frame);
    Bytes contents = Contents(name);
    std::fill_n(contents.begin() + static_cast<std::ptrdiff_t>(chunk.position + chunk.bytes - 40),
                20, std::uint8_t{0xFF});
    Store(name, contents);
  }

  static constexpr FrameLayout kLayout = {PixelFormat::kYuy2, 64, 48};

 private:
  static bool IsFile(const std::string& word) {
    constexpr std::array kExtensions = {".avi", ".y4m", ".wav", ".m2v", ".raw", ".png", ".bmp"};
    return std::ranges::any_of(
        kExtensions, [&](const char* extension) { return HasExtension(word, extension); });
  }

  const std::filesystem::path folder_ =
      std::filesystem::path(testing::TempDir()) /
      ("vfwtool-commands-" + std::to_string(::getpid()) + "-" +
       testing::UnitTest::GetInstance()->current_test_info()->name());
};

/// All bytes of a stream of an AVI.
inline Bytes StreamBytes(const std::string& name, std::size_t stream) {
  const AviReader reader(name);
  Bytes bytes;
  for (const SampleChunk& chunk : LoadStream(reader, stream)) {
    AppendBytes(bytes, chunk.bytes);
  }
  return bytes;
}

}  // namespace vfwtool
