// What the commands make of clips and their sound.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/commands_fixture.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

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

TEST_F(Commands, InfoListsTheFrames) {
  RecordClip("a", 3);
  const std::string info = Do("info a.avi --frames");
  EXPECT_TRUE(info.starts_with(Do("info a.avi")));
  for (const char* const line : {"\n  frame 1: ", "\n  frame 3: "}) {
    EXPECT_TRUE(Contains(info, line)) << info;
  }
  EXPECT_TRUE(Contains(info, ", key frame, 1 frame picture, quantiser code ")) << info;
  EXPECT_FALSE(Contains(info, "frame 4: "));
  const std::string json = Do("info a.avi --frames --json");
  EXPECT_TRUE(Contains(json, "  \"frameList\": [\n    {\n      \"bytes\": ")) << json;
  EXPECT_TRUE(json.ends_with("    }\n  ]\n}\n")) << json;
}

TEST_F(Commands, HelpIsTrueOfTheBuiltInCodec) {
  for (const Command* const command : kCommands) {
    EXPECT_FALSE(Contains(Do(std::string(command->name) + " --help"), "Windows")) << command->name;
  }
}

TEST_F(Commands, TheOutputIsNoneOfTheInputs) {
  RecordClip("a", 3);
  const Bytes sound = Contents("a.wav");
  const Bytes clip = Contents("a.avi");
  for (const char* const line :
       {"record a.y4m -o a.y4m", "record a.y4m -o a.wav --sound a.wav", "copy a.avi -o a.avi",
        "play a.avi -o a.avi", "play a.avi -o b.y4m --sound a.avi",
        "play a.avi -o b.y4m --sound b.y4m", "export a.avi -o b.m2v --sound b.m2v",
        "play a.avi -o b.raw --raw --sound ./b.raw"}) {
    EXPECT_EQ(Run(line).code, static_cast<int>(ExitCode::kUsage)) << line;
  }
  EXPECT_EQ(Contents("a.wav"), sound);
  EXPECT_EQ(Contents("a.avi"), clip);
  EXPECT_FALSE(Exists("b.y4m"));
}

TEST_F(Commands, SoundIsAlwaysAFile) {
  RecordClip("a", 3);
  for (const char* const line : {"record a.y4m -o x.avi --sound -", "play a.avi -o x.y4m --sound -",
                                 "export a.avi -o x.m2v --sound -"}) {
    ExpectFailure(line, ExitCode::kUsage, "--sound takes the name of a file, not -");
  }
  EXPECT_FALSE(std::filesystem::exists("-"));
  EXPECT_FALSE(Exists("x.avi") || Exists("x.y4m") || Exists("x.m2v"));
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
    EXPECT_TRUE(Contains(Do("info b.avi"),
                         isProgressive ? " scan, progressive," : " scan, bottom field first,"));
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
