#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/avi_report.h"
#include "tools/vfwtool/bench_report.h"
#include "tools/vfwtool/size_statistics.h"
#include "tools/vfwtool/stream_report.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/transfer_report.h"
#include "tools/vfwtool/vfw_results.h"

namespace qivm {
namespace {

TEST(Text, CountsAreForPeople) {
  EXPECT_EQ(CountText(1, "frame"), "1 frame");
  EXPECT_EQ(CountText(0, "frame"), "0 frames");
  EXPECT_EQ(ByteCountText(1), "1 byte");
  EXPECT_EQ(ByteCountText(9999), "9999 bytes");
  EXPECT_EQ(ByteCountText(12345678), "12.35 MB");
  EXPECT_EQ(FixedText(1234.5678, 2), "1234.57");
}

TEST(SizeStatistics, KnowExtremesAndMean) {
  SizeStatistics sizes;
  EXPECT_EQ(sizes.Mean(), 0.0);
  EXPECT_EQ(sizes.Smallest(), 0U);
  for (const std::uint64_t bytes : {250000U, 100000U, 400000U}) {
    sizes.Add(bytes);
  }
  EXPECT_EQ(sizes.Count(), 3U);
  EXPECT_EQ(sizes.Total(), 750000U);
  EXPECT_EQ(sizes.Smallest(), 100000U);
  EXPECT_EQ(sizes.Largest(), 400000U);
  EXPECT_DOUBLE_EQ(sizes.Mean(), 250000.0);
  EXPECT_EQ(sizes.Text(), "2.000 Mbit a frame (smallest 0.10 MB, largest 0.40 MB)");
}

CodecDescription TestCodec() {
  return {.code = MakeFourCc("TEST"),
          .name = "Test",
          .description = "A test codec",
          .driver = "test.dll"};
}

TEST(CodecDescription, LeavesOutWhatIsNotKnown) {
  CodecDescription codec = TestCodec();
  EXPECT_EQ(codec.Text(), "TEST (A test codec, test.dll)");
  codec.description = "";
  EXPECT_EQ(codec.Text(), "TEST (Test, test.dll)");
  codec.driver = "";
  EXPECT_EQ(codec.Text(), "TEST (Test)");
  codec.name = "";
  EXPECT_EQ(codec.Text(), "TEST");
  codec.driver = "test.dll";
  EXPECT_EQ(codec.Text(), "TEST (test.dll)");
}

TransferReport TestTransfer() {
  TransferReport report{.action = "recorded",
                        .input = "a.y4m",
                        .output = "b.avi",
                        .codec = TestCodec(),
                        .format = {{PixelFormat::kYuy2, 720, 576}, {25, 1}},
                        .quality = 8000,
                        .outputBytes = 500000,
                        .codecSeconds = 0.5,
                        .totalSeconds = 2.0};
  report.compressed.Add(200000);
  report.compressed.Add(300000);
  return report;
}

TEST(TransferReport, TellsPeople) {
  EXPECT_EQ(TestTransfer().Text(),
            "recorded 2 frames of 720x576 yuy2 at 25 frames/s from a.y4m to b.avi\n"
            "  codec       TEST (A test codec, test.dll), quality 8000 of 10000\n"
            "  compressed  0.50 MB, 2.000 Mbit a frame (smallest 0.20 MB, largest 0.30 MB)\n"
            "  output      0.50 MB\n"
            "  in codec    0.500 s, 4.0 frames/s\n"
            "  altogether  2.000 s, 1.0 frames/s\n");
}

TEST(TransferReport, TellsPrograms) {
  EXPECT_EQ(TestTransfer().Json().Print(),
            "{\n"
            "  \"action\": \"recorded\",\n"
            "  \"input\": \"a.y4m\",\n"
            "  \"output\": \"b.avi\",\n"
            "  \"codec\": {\n"
            "    \"code\": \"TEST\",\n"
            "    \"name\": \"Test\",\n"
            "    \"description\": \"A test codec\",\n"
            "    \"driver\": \"test.dll\"\n"
            "  },\n"
            "  \"width\": 720,\n"
            "  \"height\": 576,\n"
            "  \"pixelFormat\": \"yuy2\",\n"
            "  \"framesPerSecond\": 25,\n"
            "  \"quality\": 8000,\n"
            "  \"frames\": 2,\n"
            "  \"compressedBytes\": {\n"
            "    \"total\": 500000,\n"
            "    \"smallest\": 200000,\n"
            "    \"largest\": 300000,\n"
            "    \"mean\": 250000\n"
            "  },\n"
            "  \"outputBytes\": 500000,\n"
            "  \"codecSeconds\": 0.5,\n"
            "  \"codecFramesPerSecond\": 4,\n"
            "  \"totalSeconds\": 2,\n"
            "  \"totalFramesPerSecond\": 1\n"
            "}");
}

TEST(TransferReport, LeavesOutWhatThereIsNot) {
  TransferReport report = TestTransfer();
  report.quality.reset();
  report.outputBytes.reset();
  report.codecSeconds = 0;
  EXPECT_FALSE(Contains(report.Text(), "quality"));
  EXPECT_FALSE(Contains(report.Text(), "  output "));
  EXPECT_TRUE(Contains(report.Text(), "  in codec    0.000 s\n"));
  const std::string json = report.Json().Print();
  EXPECT_FALSE(Contains(json, "quality"));
  EXPECT_FALSE(Contains(json, "outputBytes"));
  EXPECT_TRUE(Contains(json, "\"codecFramesPerSecond\": null"));
}

AviReport TestAvi() {
  AviReport report{
      .file = "b.avi",
      .fileBytes = 600000,
      .streams = {{MakeFourCc("vids"), MakeFourCc("TEST"), 2}, {MakeFourCc("auds"), 0, 48000}},
      .width = 720,
      .height = 576,
      .bits = 24,
      .compression = MakeFourCc("TEST"),
      .handler = MakeFourCc("TEST"),
      .formatBytes = 252,
      .rate = {25, 1},
      .keyFrames = 2,
      .emptyFrames = 0,
      .codec = TestCodec()};
  report.frames.Add(200000);
  report.frames.Add(300000);
  return report;
}

TEST(AviReport, TellsPeople) {
  EXPECT_EQ(TestAvi().Text(),
            "b.avi: AVI of 0.60 MB, 2 streams\n"
            "  stream      vids, handler TEST, length 2\n"
            "  stream      auds, handler none, length 48000\n"
            "  video       2 frames at 25 frames/s, 0.080 s\n"
            "  picture     720x576, 24 bits a pixel\n"
            "  compression TEST, format of 252 bytes\n"
            "  codec       TEST (A test codec, test.dll)\n"
            "  frames      0.50 MB, 2.000 Mbit a frame (smallest 0.20 MB, largest 0.30 MB)\n"
            "  key frames  2 of 2, 0 empty\n");
}

TEST(AviReport, TellsPrograms) {
  EXPECT_EQ(TestAvi().Json().Print(),
            "{\n"
            "  \"file\": \"b.avi\",\n"
            "  \"fileBytes\": 600000,\n"
            "  \"streams\": [\n"
            "    {\n"
            "      \"type\": \"vids\",\n"
            "      \"handler\": \"TEST\",\n"
            "      \"length\": 2\n"
            "    },\n"
            "    {\n"
            "      \"type\": \"auds\",\n"
            "      \"handler\": \"none\",\n"
            "      \"length\": 48000\n"
            "    }\n"
            "  ],\n"
            "  \"width\": 720,\n"
            "  \"height\": 576,\n"
            "  \"bitsPerPixel\": 24,\n"
            "  \"compression\": \"TEST\",\n"
            "  \"handler\": \"TEST\",\n"
            "  \"formatBytes\": 252,\n"
            "  \"rate\": 25,\n"
            "  \"scale\": 1,\n"
            "  \"framesPerSecond\": 25,\n"
            "  \"frames\": 2,\n"
            "  \"keyFrames\": 2,\n"
            "  \"emptyFrames\": 0,\n"
            "  \"frameBytes\": {\n"
            "    \"total\": 500000,\n"
            "    \"smallest\": 200000,\n"
            "    \"largest\": 300000,\n"
            "    \"mean\": 250000\n"
            "  },\n"
            "  \"codec\": {\n"
            "    \"code\": \"TEST\",\n"
            "    \"name\": \"Test\",\n"
            "    \"description\": \"A test codec\",\n"
            "    \"driver\": \"test.dll\"\n"
            "  }\n"
            "}");
}

TEST(AviReport, TellsWhatFramesSayOfThemselves) {
  const MpegHeaders mpeg{.hasSequence = true,
                         .width = 720,
                         .height = 576,
                         .rate = {25, 1},
                         .isMpeg2 = true,
                         .chromaFormat = 2,
                         .pictures = 1,
                         .hasPictureExtension = true,
                         .structure = 3,
                         .dcBits = 11,
                         .usesTableB15 = true,
                         .isNonLinear = true,
                         .isTopFieldFirst = true,
                         .slices = 36,
                         .smallestQuantiser = 2,
                         .largestQuantiser = 5};
  AviReport report = TestAvi();
  report.mpeg = mpeg;
  report.frameList = {{200000, true, mpeg}, {300000, false, std::nullopt}};
  EXPECT_TRUE(report.Text().ends_with(
      "  key frames  2 of 2, 0 empty\n"
      "  first frame MPEG-2 4:2:2, 720x576, 1 frame picture, 11-bit DC, non-linear scale, "
      "intra_vlc_format 1, zig-zag scan, top field first, quantiser code 2 to 5\n"
      "  frame 1: 200000 bytes, key frame, 1 frame picture, quantiser code 2 to 5\n"
      "  frame 2: 300000 bytes\n"))
      << report.Text();
  EXPECT_TRUE(Contains(report.Json().Print(),
                       "    {\n"
                       "      \"bytes\": 200000,\n"
                       "      \"keyFrame\": true,\n"
                       "      \"pictures\": 1,\n"
                       "      \"pictureStructure\": 3,\n"
                       "      \"intra\": true,\n"
                       "      \"smallestQuantiserCode\": 2,\n"
                       "      \"largestQuantiserCode\": 5\n"
                       "    },\n"
                       "    {\n"
                       "      \"bytes\": 300000,\n"
                       "      \"keyFrame\": false\n"
                       "    }\n"))
      << report.Json().Print();
  // Of field pictures and others, that too.
  report.mpeg->structure = 1;
  report.mpeg->pictures = 2;
  report.mpeg->areAllIntra = false;
  EXPECT_TRUE(Contains(report.Text(), "2 field pictures, not intra")) << report.Text();
}

TEST(AviReport, KnowsWhatNeedsACodec) {
  AviReport report = TestAvi();
  report.codec.reset();
  EXPECT_TRUE(Contains(report.Text(), "  codec       none installed that plays it\n"));
  EXPECT_TRUE(Contains(report.Json().Print(), "\"codec\": null"));
  report.compression = MakeFourCc("YUY2");
  EXPECT_TRUE(report.IsCompressed());
  report.bits = 16;
  EXPECT_FALSE(report.IsCompressed());
  report.compression = 0;
  report.height = -576;
  EXPECT_TRUE(Contains(report.Text(),
                       "  picture     720x576, 16 bits a pixel, rows from the top "
                       "down\n  compression none (BI_RGB), format of 252 bytes\n"
                       "  codec       none needed\n"));
  report.compression = 1;  // BI_RLE8
  EXPECT_TRUE(report.IsCompressed());
}

TEST(BenchReport, TellsPeopleAndPrograms) {
  BenchReport report{.codec = TestCodec(),
                     .layout = {PixelFormat::kYuy2, 720, 576},
                     .source = "generated",
                     .pictures = 8,
                     .compression = {500, 2.0},
                     .decompression = {1000, 2.0}};
  report.compressed.Add(250000);
  EXPECT_EQ(report.Text(),
            "measured TEST (A test codec, test.dll) with 8 pictures of 720x576 yuy2 (generated)\n"
            "  compresses    250.0 frames/s, 4.000 ms a frame\n"
            "  decompresses  500.0 frames/s, 2.000 ms a frame\n"
            "  frames        2.000 Mbit a frame (smallest 0.25 MB, largest 0.25 MB)\n");
  const std::string json = report.Json().Print();
  EXPECT_TRUE(Contains(json,
                       "  \"decompression\": {\n"
                       "    \"frames\": 1000,\n"
                       "    \"seconds\": 2,\n"
                       "    \"framesPerSecond\": 500\n"
                       "  }"))
      << json;
}

TEST(StreamReport, TellsPeopleAndPrograms) {
  const StreamReport report{.action = "exported",
                            .input = "a.avi",
                            .output = "b.m2v",
                            .width = 720,
                            .height = 576,
                            .rate = {25, 1},
                            .frames = 3,
                            .outputBytes = 600000};
  EXPECT_EQ(report.Text(),
            "exported 3 frames of 720x576 at 25 frames/s from a.avi to b.m2v, 0.60 MB\n");
  EXPECT_TRUE(Contains(report.Json().Print(), "\"outputBytes\": 600000"));
}

TEST(VfwResults, HaveNamesAndMeanings) {
  EXPECT_EQ(CodecResultText(-2), "ICERR_BADFORMAT (-2): the format is not supported");
  EXPECT_EQ(CodecResultText(-100), "ICERR_ERROR (-100): an error without a name");
  EXPECT_EQ(CodecResultText(-4711), "result -4711, which is the codec's own");
}

}  // namespace
}  // namespace qivm
