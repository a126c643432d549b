// Runs vfwtool.exe as its users do, with a codec that stores pictures as they are.

#include <cstdint>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/cli_clips.h"
#include "tests/tools/cli_run.h"
#include "tests/tools/store_codec_format.h"
#include "tests/tools/store_codec_registration.h"
#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/media/picture.h"

namespace vfwtool {
namespace {

const testing::Environment* const kRegistration =
    testing::AddGlobalTestEnvironment(new StoreCodecRegistration);

constexpr FrameRate kRate = {30000, 1001};
constexpr std::size_t kFrames = 4;

/// The picture inside a frame of the test codec.
Picture StoredPicture(const Picture& frame) {
  return {frame.begin() + sizeof(StoreFrameHeader), frame.end()};
}

StoreFrameHeader StoredHeader(const Picture& frame) {
  StoreFrameHeader header{};
  std::memcpy(&header, frame.data(), sizeof(header));
  return header;
}

/// Writes an AVI of any frames.
void StoreFrames(const std::string& name, const Bytes& format, FourCc handler,
                 const std::vector<Picture>& frames) {
  AviWriter writer(
      name,
      {.streams = {MakeVideoHeaders(format, handler, kRate, true)}, .others = {}, .lists = {}});
  for (const Picture& frame : frames) {
    writer.Write(0, frame, true);
  }
  writer.Finish();
}

class Cli : public testing::Test {
 protected:
  /// Stores a clip of `format` and records it with further `options`.
  CliRun Record(const ClipFormat& format, const std::vector<Picture>& pictures,
                std::vector<std::string> options = {}) {
    const bool isRgb = IsRgb(format.layout.format);
    const std::string& source = isRgb ? aviSource_.Name() : y4mSource_.Name();
    if (isRgb) {
      StoreAvi(source, format, pictures);
    } else {
      StoreY4m(source, format, pictures);
    }
    options.insert(options.begin(), {"record", source, "-o", recorded_.Name(), "--codec", "STOR"});
    return RunCli(options);
  }

  CliRun Play(const std::string& output, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"play", recorded_.Name(), "-o", output});
    return RunCli(options);
  }

  TemporaryFile y4mSource_{".y4m"};
  TemporaryFile aviSource_{".avi"};
  TemporaryFile recorded_{".avi"};
};

TEST_F(Cli, RecordsWhatTheCodecWrites) {
  const ClipFormat format{{PixelFormat::kYuy2, 64, 48}, kRate};
  const std::vector<Picture> pictures = TestPictures(format.layout, kFrames);
  ExpectSuccess(Record(format, pictures));
  const ReadAvi avi = LoadAvi(recorded_.Name());
  EXPECT_EQ(avi.handler, "STOR"_fourcc);
  EXPECT_EQ(avi.rate, kRate);
  ASSERT_EQ(avi.frames.size(), kFrames);
  for (std::size_t i = 0; i < kFrames; ++i) {
    EXPECT_EQ(StoredPicture(avi.frames[i]), pictures[i]);
    EXPECT_EQ(StoredHeader(avi.frames[i]).frameNumber, i);
    EXPECT_EQ(StoredHeader(avi.frames[i]).quality, kStoreDefaultQuality);
    EXPECT_TRUE(avi.areKeyFrames[i]);
  }
  // The whole of the codec's format is stored, not only its bitmap header.
  ASSERT_EQ(avi.format.size(), kStoreFormatBytes);
  EXPECT_EQ(Picture(avi.format.begin() + 40, avi.format.begin() + 80),
            MakeBitmapFormat(format.layout));
  EXPECT_EQ(Picture(avi.format.begin() + 80, avi.format.end()),
            Picture(kStoreFormatBytes - 80, kStorePatternByte));
}

TEST_F(Cli, RecordsWhatAnotherCodecCompressed) {
  const ClipFormat format{{PixelFormat::kUyvy, 64, 48}, kRate};
  ExpectSuccess(Record(format, TestPictures(format.layout, kFrames), {"--format", "uyvy"}));
  const ReadAvi once = LoadAvi(recorded_.Name());
  const std::vector<std::string> again = {"record",          recorded_.Name(), "-o",
                                          aviSource_.Name(), "--codec",        "STOR"};
  // The test codec gives what it was given, and nothing else.
  ExpectFailure(RunCli(again), ExitCode::kCodec, "It gives uyvy (--format)");
  std::vector<std::string> asUyvy = again;
  asUyvy.insert(asUyvy.end(), {"--format", "uyvy"});
  ExpectSuccess(RunCli(asUyvy));
  EXPECT_EQ(LoadAvi(aviSource_.Name()).frames, once.frames);
}

TEST_F(Cli, HandsQualityToTheCodec) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  for (const std::uint32_t quality : {0U, 10000U}) {
    ExpectSuccess(
        Record(format, TestPictures(format.layout, 1), {"--quality", std::to_string(quality)}));
    EXPECT_EQ(StoredHeader(LoadAvi(recorded_.Name()).frames.at(0)).quality, quality);
  }
}

TEST_F(Cli, PlaysWhatWasRecorded) {
  for (const PixelFormat pixelFormat : {PixelFormat::kYuy2, PixelFormat::kUyvy}) {
    const std::string name(PixelFormatName(pixelFormat));
    const ClipFormat format{{pixelFormat, 64, 48}, kRate};
    ExpectSuccess(Record(format, TestPictures(format.layout, kFrames), {"--format", name}));
    const TemporaryFile played(".y4m");
    ExpectSuccess(Play(played.Name(), {"--format", name}));
    EXPECT_EQ(played.Contents(), y4mSource_.Contents());
    const CliRun piped = Play("-", {"--format", name, "--quiet"});
    ExpectSuccess(piped);
    EXPECT_EQ(piped.output, y4mSource_.Text());
  }
}

TEST_F(Cli, RecordsFromTheStandardInput) {
  const ClipFormat format{{PixelFormat::kYuy2, 64, 48}, kRate};
  const std::vector<Picture> pictures = TestPictures(format.layout, kFrames);
  StoreY4m(y4mSource_.Name(), format, pictures);
  ExpectSuccess(
      RunCli({"record", "-", "-o", recorded_.Name(), "--codec", "STOR"}, y4mSource_.Name()));
  const ReadAvi avi = LoadAvi(recorded_.Name());
  ASSERT_EQ(avi.frames.size(), kFrames);
  for (std::size_t i = 0; i < kFrames; ++i) {
    EXPECT_EQ(StoredPicture(avi.frames[i]), pictures[i]);
  }
}

TEST_F(Cli, RepacksForTheCodec) {
  const ClipFormat format{{PixelFormat::kYuy2, 32, 16}, kRate};
  const std::vector<Picture> pictures = TestPictures(format.layout, 1);
  ExpectSuccess(Record(format, pictures, {"--format", "uyvy"}));
  Picture expected(pictures[0].size());
  Repack(format.layout, pictures[0], PixelFormat::kUyvy, expected);
  EXPECT_EQ(StoredPicture(LoadAvi(recorded_.Name()).frames.at(0)), expected);
}

TEST_F(Cli, TakesAndGivesUncompressedAvis) {
  for (const PixelFormat pixelFormat :
       {PixelFormat::kYuy2, PixelFormat::kUyvy, PixelFormat::kRgb32}) {
    const ClipFormat format{{pixelFormat, 64, 48}, kRate};
    const std::vector<Picture> pictures = TestPictures(format.layout, kFrames);
    StoreAvi(aviSource_.Name(), format, pictures);
    ExpectSuccess(RunCli({"record", aviSource_.Name(), "-o", recorded_.Name(), "--codec", "STOR"}));
    const TemporaryFile played(".avi");
    ExpectSuccess(Play(played.Name(), {"--format", std::string(PixelFormatName(pixelFormat))}));
    EXPECT_EQ(played.Contents(), aviSource_.Contents());
    EXPECT_EQ(LoadAvi(played.Name()).frames, pictures);
  }
}

TEST_F(Cli, TurnsTopDownAvisOver) {
  const ClipFormat format{{PixelFormat::kRgb32, 16, 8}, kRate};
  std::vector<Picture> pictures = TestPictures(format.layout, 1);
  Bytes topDown = MakeBitmapFormat(format.layout);
  StoreLittleEndian32(topDown, 8, static_cast<std::uint32_t>(-8));
  StoreFrames(aviSource_.Name(), topDown, 0, {pictures[0]});
  ExpectSuccess(RunCli({"record", aviSource_.Name(), "-o", recorded_.Name(), "--codec", "STOR"}));
  // Raw pictures run from the top down again.
  const TemporaryFile raw(".raw");
  ExpectSuccess(Play(raw.Name(), {"--raw"}));
  EXPECT_EQ(raw.Contents(), pictures[0]);
  FlipRows(format.layout, pictures[0]);
  EXPECT_EQ(StoredPicture(LoadAvi(recorded_.Name()).frames.at(0)), pictures[0]);
}

TEST_F(Cli, RawFramesGoToTheStandardOutputByteForByte) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  std::vector<Picture> pictures = TestPictures(format.layout, 2);
  pictures[0][5] = '\n';
  pictures[0][6] = 0x1A;
  ExpectSuccess(Record(format, pictures));
  const CliRun run = Play("-", {"--raw", "--format", "yuy2"});
  EXPECT_EQ(run.exitCode, 0U);
  std::string expected(pictures[0].begin(), pictures[0].end());
  expected.append(pictures[1].begin(), pictures[1].end());
  EXPECT_EQ(run.output, expected);
  EXPECT_TRUE(Contains(run.ErrorText(), "played 2 frames of 16x16 yuy2")) << run.errors;
}

TEST_F(Cli, AnEmptyFrameRepeatsThePictureBeforeIt) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  std::vector<Picture> pictures = TestPictures(format.layout, 3);
  pictures[1][0] = kStoreEmptyByte;
  ExpectSuccess(Record(format, pictures));
  EXPECT_TRUE(LoadAvi(recorded_.Name()).frames.at(1).empty());
  const TemporaryFile played(".avi");
  ExpectSuccess(Play(played.Name(), {"--format", "yuy2"}));
  EXPECT_EQ(LoadAvi(played.Name()).frames,
            (std::vector<Picture>{pictures[0], pictures[0], pictures[2]}));
  EXPECT_TRUE(Contains(RunCli({"info", recorded_.Name(), "--json"}).output, "\"emptyFrames\": 1"));
}

TEST_F(Cli, ReportsInTextAndJson) {
  const ClipFormat format{{PixelFormat::kYuy2, 64, 48}, kRate};
  const std::vector<Picture> pictures = TestPictures(format.layout, kFrames);
  const CliRun text = Record(format, pictures);
  ExpectSuccess(text);
  EXPECT_TRUE(text.OutputText().starts_with(
      "recorded 4 frames of 64x48 yuy2 at 30000/1001 (29.97) frames/s from " + y4mSource_.Name() +
      " to " + recorded_.Name() + "\n  codec       STOR (Stores pictures \xE2\x80\x93 for tests, "))
      << text.output;
  const std::string record = Record(format, pictures, {"--json"}).OutputText();
  for (const char* const member :
       {"\"action\": \"recorded\"", "\"code\": \"STOR\"", "\"name\": \"Store\"", "\"width\": 64",
        "\"pixelFormat\": \"yuy2\"", "\"quality\": 4321", "\"frames\": 4", "\"total\": 24608",
        "\"mean\": 6152"}) {
    EXPECT_TRUE(Contains(record, member)) << member << " in " << record;
  }
  const TemporaryFile played(".y4m");
  const std::string play = Play(played.Name(), {"--json"}).OutputText();
  EXPECT_TRUE(Contains(play, "\"action\": \"played\"")) << play;
  EXPECT_TRUE(Contains(play, "\"outputBytes\": " + std::to_string(played.Contents().size())))
      << play;
  const std::string info = RunCli({"info", recorded_.Name(), "--json"}).OutputText();
  for (const char* const member :
       {"\"compression\": \"STOR\"", "\"handler\": \"STOR\"", "\"formatBytes\": 252",
        "\"rate\": 30000", "\"scale\": 1001", "\"frames\": 4", "\"keyFrames\": 4",
        "\"largest\": 6152", "\"description\": \"Stores pictures \xE2\x80\x93 for tests\"",
        "store_codec.dll"}) {
    EXPECT_TRUE(Contains(info, member)) << member << " in " << info;
  }
  const CliRun infoText = RunCli({"info", recorded_.Name()});
  ExpectSuccess(infoText);
  EXPECT_TRUE(Contains(infoText.OutputText(), "  key frames  4 of 4, 0 empty\n"));
}

TEST_F(Cli, TakesFileNamesOfAnyScript) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  const TemporaryFile source("-\xC3\xA4\xE2\x82\xAC \xE6\xBC\xA2.y4m");
  const TemporaryFile recorded("-\xD0\xB6.avi");
  const TemporaryFile played("-\xCE\xB1.y4m");
  StoreY4m(source.Name(), format, TestPictures(format.layout, 1));
  const CliRun run = RunCli({"record", source.Name(), "-o", recorded.Name(), "--codec", "STOR"});
  ExpectSuccess(run);
  EXPECT_TRUE(Contains(run.output, recorded.Name())) << run.output;
  ExpectSuccess(RunCli({"play", recorded.Name(), "-o", played.Name()}));
  EXPECT_EQ(played.Contents(), source.Contents());
}

TEST_F(Cli, TellsWhatTheCodecWouldTake) {
  const ClipFormat format{{PixelFormat::kYuy2, 36, 20}, kRate};
  ExpectFailure(Record(format, TestPictures(format.layout, 1)), ExitCode::kCodec,
                "does not compress pictures of 36x20 yuy2: ICERR_BADFORMAT (-2): the format is not "
                "supported. It takes widths and heights that are multiples of 8: crop or scale the "
                "clip, for instance to 32x16\n");
  const ClipFormat rgb{{PixelFormat::kRgb24, 16, 16}, kRate};
  ExpectFailure(Record(rgb, TestPictures(rgb.layout, 1)), ExitCode::kCodec,
                "Of pictures of this size it takes yuy2, uyvy, rgb32\n");
  EXPECT_FALSE(recorded_.Exists());
}

TEST_F(Cli, TellsWhatTheCodecGives) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  ExpectSuccess(Record(format, TestPictures(format.layout, 1)));
  const TemporaryFile played(".avi");
  ExpectFailure(Play(played.Name()), ExitCode::kCodec,
                "does not decompress frames of 16x16 to rgb32: ICERR_BADFORMAT (-2): the format is "
                "not supported. It gives yuy2 (--format)\n");
  EXPECT_FALSE(played.Exists());
}

TEST_F(Cli, AFrameThatFailsLeavesThoseBeforeIt) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  std::vector<Picture> pictures = TestPictures(format.layout, kFrames);
  pictures[2][0] = kStoreFailByte;
  ExpectFailure(Record(format, pictures), ExitCode::kCodec,
                "cannot compress frame 3: ICERR_INTERNAL (-4): an error inside the codec (" +
                    recorded_.Name() + " has the 2 frames before that)\n");
  EXPECT_EQ(LoadAvi(recorded_.Name()).frames.size(), 2U);
  pictures[0][0] = kStoreFailByte;
  ExpectFailure(Record(format, pictures), ExitCode::kCodec, "cannot compress frame 1");
  EXPECT_FALSE(recorded_.Exists());
}

TEST_F(Cli, AFrameThatIsDamagedStopsPlaying) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  ExpectSuccess(Record(format, TestPictures(format.layout, 1)));
  StoreFrames(recorded_.Name(), LoadAvi(recorded_.Name()).format, "STOR"_fourcc, {Picture(100)});
  const TemporaryFile played(".y4m");
  ExpectFailure(Play(played.Name()), ExitCode::kCodec, ": frame 1 (00:00:00.000), at byte ");
}

TEST_F(Cli, CodecsThatAreNotThereAreNamed) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  StoreY4m(y4mSource_.Name(), format, TestPictures(format.layout, 1));
  ExpectFailure(RunCli({"record", y4mSource_.Name(), "-o", recorded_.Name(), "--codec", "NONE"}),
                ExitCode::kCodec,
                "no codec with the code NONE can be opened for compression (installed: ");
  EXPECT_FALSE(recorded_.Exists());
  Bytes unknown = MakeBitmapFormat(format.layout);
  StoreLittleEndian32(unknown, 16, "NONE"_fourcc);
  StoreFrames(recorded_.Name(), unknown, "NONE"_fourcc, {Picture(100)});
  const TemporaryFile played(".y4m");
  ExpectFailure(Play(played.Name()), ExitCode::kCodec,
                "no codec decompresses this AVI, which is of the code NONE");
  EXPECT_TRUE(Contains(RunCli({"info", recorded_.Name()}).OutputText(),
                       "  codec       none installed that plays it\n"));
}

TEST_F(Cli, InputsThatAreNotTakenAreRefused) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  ExpectFailure(RunCli({"record", recorded_.Name(), "-o", "x.avi"}), ExitCode::kInput,
                "cannot be opened");
  ExpectFailure(Record(format, {}), ExitCode::kInput, ": has no frames");
  ExpectFailure(RunCli({"record", "-", "-o", recorded_.Name()}), ExitCode::kInput,
                "standard input: is empty");
  ExpectSuccess(Record(format, TestPictures(format.layout, 1)));
  ExpectFailure(RunCli({"record", "-", "-o", aviSource_.Name()}, recorded_.Name()),
                ExitCode::kInput, "standard input: an AVI must be a file");
  ExpectFailure(RunCli({"play", "-", "-o", aviSource_.Name()}), ExitCode::kInput,
                "standard input: an AVI must be a file");
  ExpectFailure(RunCli({"info", y4mSource_.Name()}), ExitCode::kInput, ": is not an AVI");
}

TEST_F(Cli, UsageErrorsTouchNothing) {
  const ClipFormat format{{PixelFormat::kYuy2, 16, 16}, kRate};
  StoreY4m(y4mSource_.Name(), format, TestPictures(format.layout, 1));
  const std::string before = y4mSource_.Text();
  ExpectFailure(RunCli({"record", y4mSource_.Name(), "-o", y4mSource_.Name()}), ExitCode::kUsage,
                "is the input as well");
  EXPECT_EQ(y4mSource_.Text(), before);
  ExpectFailure(RunCli({"record", y4mSource_.Name(), "-o", "-"}), ExitCode::kUsage,
                "an AVI cannot be written to the standard output");
  ExpectFailure(Record(format, TestPictures(format.layout, 1), {"--format", "rgb24"}),
                ExitCode::kUsage, "this tool does not convert colours");
  ExpectFailure(Play("pictures.gif"), ExitCode::kUsage,
                "ends in none of .y4m, .avi, .png and .bmp");
  ExpectFailure(Play("-", {"--format", "rgb24"}), ExitCode::kUsage,
                "a Y4M clip holds no RGB pictures");
  EXPECT_FALSE(recorded_.Exists());
}

TEST_F(Cli, TellsItsVersionAndBitness) {
  const CliRun run = RunCli({"--version"});
  ExpectSuccess(run);
  const std::string bitness = sizeof(void*) == 8 ? "(64-bit)" : "(32-bit)";
  EXPECT_EQ(run.OutputText(), "vfwtool " VFWTOOL_VERSION " " + bitness + "\n");
  for (const char* const command : {"record", "play", "copy", "info", "verify", "export", "import",
                                    "compare", "bench", "diagnose", "configure", "about"}) {
    const CliRun help = RunCli({command, "--help"});
    ExpectSuccess(help);
    EXPECT_TRUE(Contains(help.output, std::string("Usage: vfwtool ") + command + ' '));
  }
}

}  // namespace
}  // namespace vfwtool
