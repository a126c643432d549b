// The commands inside this process, with the codec that is built into the tool.

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/tools/avi_samples.h"
#include "tests/tools/clips.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/commands/command.h"
#include "tools/vfwtool/media/mpeg.h"
#include "tools/vfwtool/media/wav.h"

namespace vfwtool {
namespace {

struct Outcome {
  int code;
  std::string output;
  std::string errors;
};

constexpr std::array kCommands = {&kRecordCommand, &kPlayCommand,    &kCopyCommand,
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
Bytes StreamBytes(const std::string& name, std::size_t stream) {
  const AviReader reader(name);
  Bytes bytes;
  for (const SampleChunk& chunk : LoadStream(reader, stream)) {
    AppendBytes(bytes, chunk.bytes);
  }
  return bytes;
}

TEST_F(Commands, RecordTakesTheSoundOfAFile) {
  StoreClip("a", 10);
  const std::string report = Do("record a.y4m -o a.avi --sound a.wav");
  EXPECT_TRUE(report.starts_with("recorded 10 frames of 64x48 yuy2 at 25 frames/s from "));
  EXPECT_TRUE(Contains(report, "  sound       1 stream\n")) << report;
  EXPECT_EQ(StreamBytes(In("a.avi"), 1), SampleBytes(4 * 19300, 10));
  const AviReader reader(In("a.avi"));
  EXPECT_EQ(reader.Format().size(), 252U);
  EXPECT_EQ(reader.Headers().streams[1].Field(StreamField::kLength), 19300U);
  EXPECT_TRUE(Contains(Do("verify a.avi"), "Nothing is wrong.\n"));
}

TEST_F(Commands, RecordAndPlayCarryOverAllOtherStreams) {
  StoreClip("a", 6);
  // Two sounds, one of variable packets, and the sound before the video.
  AviHeaders headers = SampleHeaders(3);
  headers.streams[0] = MakeVideoHeaders(MakeBitmapFormat(kLayout), "YUY2"_fourcc, {25, 1}, false);
  std::swap(headers.streams[0], headers.streams[1]);
  std::vector<SampleChunk> chunks;
  const std::vector<Picture> pictures = TestPictures(kLayout, 6);
  for (std::size_t i = 0; i < 6; ++i) {
    chunks.push_back({0, SampleBytes(4 * 1920, i), true});
    chunks.push_back({2, SampleBytes(50 + i, i), true});
    chunks.push_back({1, pictures[i], true});
  }
  {
    AviWriter writer(In("source.avi"), headers);
    for (const SampleChunk& chunk : chunks) {
      writer.Write(chunk.stream, chunk.bytes, chunk.isKeyFrame);
    }
    writer.Finish();
  }
  EXPECT_TRUE(Contains(Do("record source.avi -o coded.avi --json"), "\"soundStreams\": 2"));
  Do("play coded.avi -o plain.avi --format yuy2");
  const AviReader source(In("source.avi"));
  for (const char* const name : {"coded.avi", "plain.avi"}) {
    const AviReader copy(In(name));
    EXPECT_EQ(copy.VideoStream(), 1U);
    EXPECT_EQ(copy.FrameCount(), 6U);
    for (const std::size_t stream : {0U, 2U}) {
      EXPECT_EQ(copy.Headers().streams[stream], source.Headers().streams[stream]) << name;
      EXPECT_EQ(LoadStream(copy, stream), LoadStream(source, stream)) << name;
    }
    EXPECT_EQ(copy.Headers().lists, source.Headers().lists);
    EXPECT_EQ(copy.Headers().others, source.Headers().others);
  }
  ExpectFailure("record source.avi -o x.avi --sound a.wav", ExitCode::kUsage,
                "has sound of its own");
  EXPECT_FALSE(Exists("x.avi"));
}

TEST_F(Commands, StreamsThatHaveNoPlaceAreNamed) {
  RecordClip("a", 5);
  for (const char* const line : {"play a.avi -o x.y4m", "play a.avi -o x.raw --raw",
                                 "play a.avi -o x.png", "export a.avi -o x.m2v"}) {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors,
              In("a.avi") +
                  ": sound stream 1 (PCM, 48000 Hz, 2 channels, 16 bits) is left out, "
                  "for which the output has no place; see --sound\n");
  }
  Do("play a.avi -o x.y4m --sound x.wav");
  EXPECT_EQ(Contents("x.wav"), Contents("a.wav"));
  Do("export a.avi -o x.m2v --sound y.wav --sound-stream 1");
  EXPECT_EQ(Contents("y.wav"), Contents("a.wav"));
  ExpectFailure("play a.avi -o x.y4m --sound x.wav --sound-stream 2", ExitCode::kInput,
                "has 1 sound stream");
  ExpectFailure("play a.avi -o x.avi --sound x.wav", ExitCode::kUsage,
                "an AVI holds the sound itself");
  ExpectFailure("play a.avi -o x.y4m --sound-stream 1", ExitCode::kUsage, "--sound-stream chooses");
}

TEST_F(Commands, ImportMakesWhatRecordMakes) {
  RecordClip("a", 5);
  Do("export a.avi -o a.m2v --sound b.wav -q");
  Do("import a.m2v -o b.avi --sound b.wav -q");
  const AviReader recorded(In("a.avi"));
  const AviReader imported(In("b.avi"));
  EXPECT_EQ(imported.Format(), recorded.Format());
  EXPECT_EQ(imported.Format().size(), 252U);
  EXPECT_EQ(imported.Headers().streams[1], recorded.Headers().streams[1]);
  const std::string report = Do("compare a.avi b.avi");
  EXPECT_TRUE(Contains(report, "  PSNR        equal\n")) << report;
  EXPECT_TRUE(Contains(report, "  sound       the same, byte for byte (1 stream)\n")) << report;
  Do("import a.m2v -o c.avi --codec MMES -q");
  EXPECT_EQ(AviReader(In("c.avi")).Handler(), "MMES"_fourcc);
  ExpectFailure("import a.m2v -o c.avi --codec MJPG", ExitCode::kUsage, "takes QIVM or MMES");
}

TEST_F(Commands, CompareTellsWhereSoundDiffers) {
  RecordClip("a", 5);
  RecordClip("b", 5);
  Bytes contents = Contents("b.avi");
  const AviReader reader(In("b.avi"));
  contents[static_cast<std::size_t>(reader.Contents().streams[1][0].position) + 1000] ^= 1;
  Store("b.avi", contents);
  const std::string report = Do("compare a.avi b.avi");
  EXPECT_TRUE(Contains(report,
                       "  sound       stream 1 differs from its byte 1000 on, at about "
                       "00:00:00.005\n"))
      << report;
  Do("record a.y4m -o c.avi -q");
  EXPECT_TRUE(Contains(Do("compare a.avi c.avi"),
                       "  sound       the first clip has 1 stream, the second 0\n"));
  EXPECT_TRUE(Contains(Do("compare c.avi c.avi"), "  sound       none\n"));
  EXPECT_FALSE(Contains(Do("compare a.y4m c.avi"), "sound"));
}

TEST_F(Commands, InfoTellsHowFarSoundEndsFromTheVideo) {
  RecordClip("a", 25);
  const std::string info = Do("info a.avi");
  EXPECT_TRUE(Contains(info,
                       "  stream      sound stream 1 (PCM, 48000 Hz, 2 channels, 16 bits), 9 "
                       "packets, 0.19 MB, 1.002 s, ends 0.002 s behind the video\n"))
      << info;
  const std::string json = Do("info a.avi --json");
  for (const char* const member :
       {"\"coding\": \"PCM\"", "\"samplesPerSecond\": 48000", "\"secondsBehindVideo\": 0.002"}) {
    EXPECT_TRUE(Contains(json, member)) << json;
  }
}

TEST_F(Commands, CopyCutsVideoAndSoundAtTheSameMoment) {
  RecordClip("a", 20);
  const Bytes sound = StreamBytes(In("a.avi"), 1);
  const auto part = [&](std::size_t from, std::size_t to) {
    return Bytes(sound.begin() + static_cast<std::ptrdiff_t>(4 * from),
                 sound.begin() + static_cast<std::ptrdiff_t>(4 * to));
  };
  struct Case {
    const char* cut;
    std::uint32_t first;
    std::uint32_t frames;
    std::size_t soundTo;
  };
  for (const Case& entry :
       {Case{"--from 6 --to 10", 5, 5, 10 * 1920},
        Case{"--from 00:00.2 --to 0:0:0.4", 5, 5, 10 * 1920},
        Case{"--from 20", 19, 1, 20 * 1920 + 100}, Case{"--to 1", 0, 1, 1920},
        Case{"--to 00:00:00.800", 0, 20, 20 * 1920}, Case{"", 0, 20, 20 * 1920 + 100}}) {
    Do(std::string("copy a.avi -o b.avi -q ") + entry.cut);
    const AviReader whole(In("a.avi"));
    const AviReader copy(In("b.avi"));
    ASSERT_EQ(copy.FrameCount(), entry.frames) << entry.cut;
    for (std::uint32_t i = 0; i < entry.frames; ++i) {
      EXPECT_EQ(LoadStream(copy, 0)[i], LoadStream(whole, 0)[entry.first + i]) << entry.cut;
    }
    EXPECT_EQ(StreamBytes(In("b.avi"), 1), part(1920 * entry.first, entry.soundTo)) << entry.cut;
    EXPECT_TRUE(Contains(Do("verify b.avi"), "Nothing is wrong."));
  }
}

TEST_F(Commands, CopyJoinsWhatItCut) {
  RecordClip("a", 20);
  Do("copy a.avi -o 1.avi --to 7 -q");
  Do("copy a.avi -o 2.avi --from 8 --to 0:0.52 -q");
  Do("copy a.avi -o 3.avi --from 0:0.52 -q");
  const std::string report = Do("copy 1.avi 2.avi 3.avi -o b.avi");
  EXPECT_TRUE(report.starts_with("copied 20 frames of 64x48 at 25 frames/s from "));
  EXPECT_EQ(StreamBytes(In("b.avi"), 0), StreamBytes(In("a.avi"), 0));
  EXPECT_EQ(StreamBytes(In("b.avi"), 1), StreamBytes(In("a.avi"), 1));
  // A cut of the whole of several.
  Do("copy 1.avi 2.avi 3.avi -o c.avi --from 5 --to 15 -q");
  Do("copy a.avi -o d.avi --from 5 --to 15 -q");
  EXPECT_EQ(StreamBytes(In("c.avi"), 0), StreamBytes(In("d.avi"), 0));
  EXPECT_EQ(StreamBytes(In("c.avi"), 1), StreamBytes(In("d.avi"), 1));
}

TEST_F(Commands, CopyKeepsSoundInStepAtAJoin) {
  RecordClip("a", 10);
  Do("record a.y4m -o short.avi --sound a.wav -q");
  // The first clip's sound ends 100 samples behind its video, the second's before it.
  WavWriter wav(In("b.wav"), SamplePcm().format);
  wav.Write(SampleBytes(4 * 1000, 3));
  wav.Finish();
  Do("record a.y4m -o b.avi --sound b.wav -q");
  Do("copy b.avi a.avi -o ba.avi -q");
  Bytes expected = SampleBytes(4 * 1000, 3);
  expected.resize(4 * 19200);
  AppendBytes(expected, StreamBytes(In("a.avi"), 1));
  EXPECT_EQ(StreamBytes(In("ba.avi"), 1), expected);
  Do("copy a.avi b.avi -o ab.avi -q");
  expected = StreamBytes(In("a.avi"), 1);
  expected.resize(4 * 19200);
  AppendBytes(expected, SampleBytes(4 * 1000, 3));
  EXPECT_EQ(StreamBytes(In("ab.avi"), 1), expected);
}

TEST_F(Commands, CopyNamesTheFirstDifference) {
  RecordClip("a", 5);
  Do("record a.y4m -o silent.avi -q");
  ExpectFailure("copy a.avi silent.avi -o x.avi", ExitCode::kInput,
                "cannot be joined to " + In("a.avi") + ": it has 1 stream, not 2");
  Do("export a.avi -o a.m2v --sound b.wav -q");
  Do("import a.m2v -o rate.avi --rate 30 --sound b.wav -q");
  ExpectFailure("copy a.avi rate.avi -o x.avi", ExitCode::kInput,
                "its stream 1 has the rate 30, not 25");
  Do("import a.m2v -o code.avi --codec MMES --sound b.wav -q");
  ExpectFailure("copy a.avi code.avi -o x.avi", ExitCode::kInput,
                "its stream 1 has pictures of 64x48 of 24 bits and the code MMES, not 64x48 of 24 "
                "bits and the code QIVM");
  WavWriter wav(In("other.wav"), SamplePcm(44100).format);
  wav.Write(Bytes(400));
  wav.Finish();
  Do("record a.y4m -o sound.avi --sound other.wav -q");
  ExpectFailure("copy a.avi sound.avi -o x.avi", ExitCode::kInput,
                "its stream 2 has the rate 44100, not 48000");
  EXPECT_FALSE(Exists("x.avi"));
  for (const char* const cut : {"--from 6", "--to 6", "--from 0:0.2", "--from 4 --to 3", "--from 0",
                                "--to x", "--from 1.5"}) {
    ExpectFailure(std::string("copy a.avi -o x.avi ") + cut, ExitCode::kUsage, "--");
  }
  ExpectFailure("copy a.avi silent.avi -o silent.avi", ExitCode::kUsage, "is the input as well");
}

TEST_F(Commands, CopyTakesACutBackToAKeyFrame) {
  {
    AviWriter writer(In("a.avi"), {.streams = {SampleVideo()}, .others = {}, .lists = {}});
    for (std::size_t i = 0; i < 10; ++i) {
      writer.Write(0, SampleBytes(20, i), i % 4 == 0);
    }
    writer.Finish();
  }
  const Outcome outcome = Run("copy a.avi -o b.avi --from 8");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.errors, In("a.avi") +
                                ": frame 8 builds on others; the cut begins with the key "
                                "frame before it, frame 5 (00:00:00.133)\n");
  const AviReader copy(In("b.avi"));
  ASSERT_EQ(copy.FrameCount(), 6U);
  EXPECT_EQ(LoadStream(copy, 0)[0], (SampleChunk{0, SampleBytes(20, 4), true}));
  EXPECT_FALSE(copy.Frame(1).isKeyFrame);
}

TEST_F(Commands, CopyRescuesAFileWhoseWriterWasKilled) {
  RecordClip("a", 10);
  Bytes contents = Contents("a.avi");
  const std::string text(contents.begin(), contents.end());
  // No index, sizes as at the start, and the last frame's chunk breaks off.
  contents.resize(text.rfind("00dc", text.find("idx1")) + 100);
  StoreLittleEndian32(contents, 4, 0);
  StoreLittleEndian32(contents, text.find("movi") - 4, 4);
  Store("broken.avi", contents);
  const Outcome outcome = Run("copy broken.avi -o b.avi");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_TRUE(outcome.errors.starts_with(In("broken.avi") + " breaks off inside frame 10: the last "
                                                            "92 of "))
      << outcome.errors;
  EXPECT_TRUE(Contains(Do("verify b.avi"), "Nothing is wrong."));
  EXPECT_EQ(AviReader(In("b.avi")).FrameCount(), 9U);
  EXPECT_EQ(Run("verify broken.avi").code, static_cast<int>(ExitCode::kDamage));
  // All of the sound was written before the frame.
  EXPECT_EQ(StreamBytes(In("b.avi"), 1), StreamBytes(In("a.avi"), 1));
  // The headers were never written either.
  std::fill_n(contents.begin(), text.find("movi") + 4, std::uint8_t{0});
  Store("headless.avi", contents);
  ExpectFailure("copy headless.avi -o c.avi", ExitCode::kInput, "is not an AVI");
  EXPECT_EQ(Run("copy headless.avi -o c.avi --like a.avi").code, 0);
  EXPECT_EQ(Contents("c.avi"), Contents("b.avi"));
  const Outcome needless = Run("copy a.avi -o c.avi --like a.avi");
  EXPECT_EQ(needless.code, 0);
  EXPECT_TRUE(Contains(needless.errors, "has headers of its own")) << needless.errors;
}

TEST_F(Commands, VerifyListsWhatIsWrong) {
  RecordClip("a", 10);
  EXPECT_TRUE(Contains(Do("verify a.avi --json"), "\"defects\": 0"));
  DamageFrame("a.avi", 3);
  DamageFrame("a.avi", 7);
  const Outcome outcome = Run("verify a.avi");
  EXPECT_EQ(outcome.code, 8);
  EXPECT_TRUE(Contains(outcome.output, "  frame 4 (00:00:00.120), at byte ")) << outcome.output;
  EXPECT_TRUE(Contains(outcome.output, ": is damaged in row 3: ")) << outcome.output;
  EXPECT_TRUE(Contains(outcome.output, "  frame 8 (00:00:00.280), at byte ")) << outcome.output;
  EXPECT_EQ(outcome.errors, "vfwtool verify: " + In("a.avi") + " has 2 defects\n");
  const std::string json = Run("verify a.avi --json").output;
  for (const char* const member :
       {"\"defects\": 2", "\"frame\": 4", "\"time\": \"00:00:00.280\"", "\"offset\": "}) {
    EXPECT_TRUE(Contains(json, member)) << json;
  }
}

TEST_F(Commands, DamagedFramesEndTheWorkOrAreReplaced) {
  RecordClip("a", 6);
  Do("play a.avi -o whole.raw --raw --format yuy2 --sound s.wav -q");
  DamageFrame("a.avi", 2);
  for (const char* const line :
       {"play a.avi -o x.raw --raw --format yuy2 --sound x.wav",
        "export a.avi -o x.m2v --sound x.wav", "compare a.avi a.avi", "record a.avi -o x.avi"}) {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.code, 3) << line;
    EXPECT_TRUE(Contains(outcome.errors, ": frame 3 (00:00:00.080), at byte ")) << outcome.errors;
    EXPECT_TRUE(Contains(outcome.errors, "; --keep-going goes on behind it")) << outcome.errors;
  }
  EXPECT_EQ(Contents("x.raw").size(), 2 * kLayout.FrameBytes());
  EXPECT_EQ(AviReader(In("x.avi")).FrameCount(), 2U);

  const std::size_t frameBytes = kLayout.FrameBytes();
  const Outcome played =
      Run("play a.avi -o x.raw --raw --format yuy2 --sound x.wav --keep-going --json");
  EXPECT_EQ(played.code, 8);
  EXPECT_TRUE(Contains(played.errors, ": frame 3 (00:00:00.080), at byte ")) << played.errors;
  EXPECT_TRUE(Contains(played.errors, "vfwtool play: 1 frame of " + In("a.avi") + " is damaged\n"));
  EXPECT_TRUE(Contains(played.output, "\"damagedFrames\": 1")) << played.output;
  Bytes expected = Contents("whole.raw");
  std::copy_n(expected.begin() + static_cast<std::ptrdiff_t>(frameBytes), frameBytes,
              expected.begin() + static_cast<std::ptrdiff_t>(2 * frameBytes));
  EXPECT_EQ(Contents("x.raw"), expected);
  EXPECT_EQ(Contents("x.wav"), Contents("a.wav"));

  EXPECT_EQ(Run("export a.avi -o x.m2v --sound x.wav --keep-going").code, 8);
  Do("import x.m2v -o y.avi -q");
  const AviReader exported(In("y.avi"));
  ASSERT_EQ(exported.FrameCount(), 6U);
  EXPECT_EQ(LoadStream(exported, 0)[2], LoadStream(exported, 0)[1]);

  EXPECT_EQ(Run("compare a.avi a.avi --keep-going").code, 8);

  // By itself copying does not look into frames.
  Do("copy a.avi -o x.avi -q");
  EXPECT_EQ(StreamBytes(In("x.avi"), 0), StreamBytes(In("a.avi"), 0));
  EXPECT_EQ(Run("copy a.avi -o x.avi --keep-going").code, 8);
  const AviReader copied(In("x.avi"));
  EXPECT_EQ(copied.FrameCount(), 6U);
  EXPECT_EQ(copied.Frame(2).bytes, 0U);
  EXPECT_EQ(StreamBytes(In("x.avi"), 1), StreamBytes(In("a.avi"), 1));
  EXPECT_TRUE(Contains(Do("verify x.avi"), "Nothing is wrong."));
}

TEST_F(Commands, WithoutAPictureBeforeThemDamagedFramesAreBlack) {
  RecordClip("a", 3);
  DamageFrame("a.avi", 0);
  EXPECT_EQ(Run("play a.avi -o x.raw --raw --format yuy2 --keep-going").code, 8);
  const Bytes pictures = Contents("x.raw");
  EXPECT_EQ(pictures[0], 16);
  EXPECT_EQ(pictures[1], 128);
  EXPECT_EQ(pictures.size(), 3 * kLayout.FrameBytes());
}

TEST_F(Commands, RecordSaysWhatTheStreamWillState) {
  StoreClip("bottom", 2, FieldOrder::kBottomFirst);
  StoreClip("progressive", 2, FieldOrder::kProgressive);
  StoreClip("top", 2, FieldOrder::kTopFirst);
  EXPECT_EQ(Run("record bottom.y4m -o x.avi").errors,
            "the clip has the bottom field first; the stream states the top field first: "
            "--swap-fields exchanges the fields\n");
  EXPECT_EQ(Run("record bottom.y4m -o x.avi --swap-fields").errors, "");
  EXPECT_EQ(Run("record progressive.y4m -o x.avi").errors,
            "the clip is progressive; the stream states interlaced pictures, top field first\n");
  EXPECT_EQ(Run("record progressive.y4m -o x.avi -q").errors, "");
  EXPECT_EQ(Run("record top.y4m -o x.avi").errors, "");
  EXPECT_TRUE(
      Contains(Run("record top.y4m -o x.avi --swap-fields").errors, "top field first already"));
}

TEST_F(Commands, PlayWritesTheFieldOrderThatTheFramesState) {
  StoreClip("a", 2);
  Do("record a.y4m -o a.avi -q");
  Do("play a.avi -o x.y4m -q");
  const auto letter = [&] {
    const Bytes clip = Contents("x.y4m");
    const std::string line(clip.begin(), std::ranges::find(clip, '\n'));
    return line[line.find(" I") + 2];
  };
  EXPECT_EQ(letter(), 't');
  // top_field_first and progressive_frame of every frame, through an MPEG-2 stream and back.
  Do("export a.avi -o a.m2v -q");
  const Bytes original = Contents("a.m2v");
  for (const auto& [isProgressive, expected] : {std::pair{false, 'b'}, std::pair{true, 'p'}}) {
    Bytes stream = original;
    for (const MpegUnit& unit : FindUnits(original)) {
      if (unit.startCode == qivm::mpeg2::kExtensionStartCode && stream[unit.begin + 4] >> 4 == 8) {
        if (isProgressive) {
          stream[unit.begin + 8] |= 0x80;
        } else {
          stream[unit.begin + 7] = static_cast<std::uint8_t>(stream[unit.begin + 7] & ~0x80U);
        }
      }
    }
    Store("b.m2v", stream);
    Do("import b.m2v -o b.avi -q");
    Do("play b.avi -o x.y4m -q");
    EXPECT_EQ(letter(), expected);
    Do("export b.avi -o c.m2v -q");
    EXPECT_EQ(Contents("c.m2v"), stream);
  }
}

TEST_F(Commands, PlayNeedsNoCodecForUncompressedVideo) {
  const std::vector<Picture> pictures = TestPictures(kLayout, 3);
  StoreAvi(In("a.avi"), {kLayout, {25, 1}}, pictures);
  Do("play a.avi -o x.y4m -q");
  StoreY4m(In("y.y4m"), {kLayout, {25, 1}}, pictures);
  EXPECT_EQ(Contents("x.y4m"), Contents("y.y4m"));
  ExpectFailure("play a.avi -o x.png", ExitCode::kUsage, "does not convert colours");
}

TEST_F(Commands, BenchMeasures) {
  const std::string json = Do("bench --seconds 0 --size 64x48 --json");
  for (const char* const member :
       {"\"source\": \"generated\"", "\"width\": 64", "\"pictures\": 8", "\"compression\": {"}) {
    EXPECT_TRUE(Contains(json, member)) << json;
  }
}

TEST_F(Commands, CodecsThatAreNotBuiltInAreNamed) {
  StoreClip("a", 2);
  ExpectFailure("record a.y4m -o x.avi --codec MJPG", ExitCode::kCodec,
                "there is no codec with the code MJPG (installed: QIVM, MMES)");
  {
    AviWriter writer(In("a.avi"), {.streams = {SampleVideo()}, .others = {}, .lists = {}});
    writer.Write(0, Bytes(20), true);
    writer.Finish();
  }
  Bytes contents = Contents("a.avi");
  const std::string text(contents.begin(), contents.end());
  StoreLittleEndian32(contents, text.find("strf") + 8 + 16, "MJPG"_fourcc);
  Store("a.avi", contents);
  ExpectFailure("play a.avi -o x.y4m", ExitCode::kCodec,
                "no codec decompresses this AVI, which is of the code MJPG");
  EXPECT_TRUE(Contains(Do("info a.avi"), "  codec       none installed that plays it\n"));
  EXPECT_TRUE(Contains(Do("verify a.avi"), "no codec takes the frames"));
}

TEST_F(Commands, UncompressedFramesThatAreTooShortAreDamaged) {
  {
    AviWriter writer(In("a.avi"),
                     {.streams = {MakeVideoHeaders(MakeBitmapFormat(kLayout), 0, {25, 1}, false)},
                      .others = {},
                      .lists = {}});
    writer.Write(0, Bytes(kLayout.FrameBytes(), 9), true);
    writer.Write(0, Bytes(100), true);
    writer.Finish();
  }
  ExpectFailure("record a.avi -o x.avi", ExitCode::kInput,
                "frame 2 (00:00:00.040), at byte 10256, has 100 bytes where 6144 belong");
}

TEST_F(Commands, FormatsThatAreNotKnownAreRefused) {
  const auto message = [&](PixelFormat pixelFormat, std::size_t position, std::uint8_t value) {
    Bytes format = MakeBitmapFormat({pixelFormat, 16, 16});
    format[position] = value;
    {
      AviWriter writer(
          In("a.avi"),
          {.streams = {MakeVideoHeaders(format, 0, {25, 1}, false)}, .others = {}, .lists = {}});
      writer.Write(0, Bytes(4), true);
      writer.Finish();
    }
    const Outcome outcome = Run("record a.avi -o x.avi");
    EXPECT_EQ(outcome.code, 3);
    return outcome.errors;
  };
  constexpr std::size_t kWidth = 4;
  constexpr std::size_t kBits = 14;
  EXPECT_TRUE(
      Contains(message(PixelFormat::kRgb24, kBits, 8), "has 8-bit video of the format RGB"));
  EXPECT_TRUE(Contains(message(PixelFormat::kRgb24, kWidth, 0), "has pictures of 0x16"));
  EXPECT_TRUE(Contains(message(PixelFormat::kYuy2, kWidth, 15), "of an odd width"));
  // Pictures of 1 MB in a file of a few bytes.
  EXPECT_TRUE(
      Contains(message(PixelFormat::kRgb32, kWidth + 1, 0x3F), "for which the file is too small"));
}

}  // namespace
}  // namespace vfwtool
