// What vfwtool exports, imports and stores is what ffmpeg reads and writes.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "tests/interop/codec_runs.h"
#include "tests/interop/elementary_stream.h"
#include "tests/interop/ffmpeg.h"
#include "tests/interop/sample_difference.h"
#include "tests/interop/tool_runs.h"
#include "tests/tools/temporary_file.h"

namespace qivm::interop {
namespace {

using vfwtool::TemporaryFile;

constexpr int kLargestDifference = 2;
constexpr int kInputExitCode = 3;
constexpr Size kSize = {176, 144};
const std::string kGraph = "testsrc2=size=176x144:rate=50,tinterlace=mode=interleave_top";
const std::string kProgressiveGraph = "testsrc2=size=176x144:rate=25";

/// The frames decode in this codec to what ffmpeg makes of the stream.
void ExpectSamePictures(const std::vector<Bytes>& frames, const Bytes& stream) {
  const FfmpegOutput decoded = DecodeWithFfmpeg(stream);
  EXPECT_EQ(decoded.messages, "");
  const std::size_t pictureBytes = 2 * kSize.Samples();
  ASSERT_EQ(decoded.data.size(), frames.size() * pictureBytes);
  const std::vector<Bytes> own = DecodeToYuy2(frames, kSize, ProcessorsToTest().front());
  for (std::size_t i = 0; i < own.size(); ++i) {
    const SampleDifference difference =
        Compare(own[i], std::span(decoded.data).subspan(i * pictureBytes, pictureBytes), kSize);
    EXPECT_LE(difference.largest, kLargestDifference) << "frame " << i << ", " << difference.place;
  }
}

TEST(ToolExport, GivesAStreamThatFfmpegDecodes) {
  const Bytes pixels = GenerateWithFfmpeg(kGraph, 5, "yuyv422");
  for (const Processor& processor : ProcessorsToTest()) {
    const std::vector<Bytes> frames =
        EncodeFrames(pixels, kSize, ClientFormat::yuy2, 8000, processor);
    const TemporaryFile avi(".avi");
    const TemporaryFile stream(".m2v");
    StoreAvi(avi.Name(), 25, 1, kSize, frames);
    const ToolRun run = RunVfwtool({"export", avi.Name(), "-o", stream.Name()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.output.starts_with("exported 5 frames of 176x144 at 25 frames/s from "))
        << run.output;
    const Bytes exported = stream.Contents();
    ExpectSamePictures(frames, exported);
    // One bit a frame differs, and nothing else.
    const Bytes joined = JoinFrames(frames);
    ASSERT_EQ(exported.size(), joined.size());
    std::size_t differences = 0;
    for (std::size_t i = 0; i < joined.size(); ++i) {
      if (exported[i] != joined[i]) {
        EXPECT_EQ(exported[i], joined[i] | 1);
        ++differences;
      }
    }
    EXPECT_EQ(differences, frames.size());
  }
}

TEST(ToolExport, StatesTheRateOfTheAvi) {
  const std::vector<Bytes> frames = EncodeFrames(GenerateWithFfmpeg(kGraph, 2, "yuyv422"), kSize,
                                                 ClientFormat::yuy2, 8000, {KernelTier::plain, 1});
  const TemporaryFile avi(".avi");
  StoreAvi(avi.Name(), 30000, 1001, kSize, frames);
  const ToolRun plain = RunVfwtool({"export", avi.Name(), "-o", "-"});
  EXPECT_EQ(plain.exitCode, 0);
  EXPECT_TRUE(plain.errors.starts_with("the stream states 25 frames/s, the AVI 30000/1001"))
      << plain.errors;
  const ToolRun rated = RunVfwtool({"export", avi.Name(), "-o", "-", "--set-rate", "-q"});
  EXPECT_EQ(rated.errors, "");
  const Bytes stream(rated.output.begin(), rated.output.end());
  EXPECT_EQ(DecodeWithFfmpeg(stream).messages, "");
  const TemporaryFile file(".m2v");
  file.Store(rated.output);
  const FfmpegOutput shown =
      RunFfmpeg({"-v", "info", "-f", "mpegvideo", "-i", file.Name(), "-f", "null", "-"});
  EXPECT_NE(shown.messages.find("29.97 fps"), std::string::npos) << shown.messages;
}

TEST(ToolImport, GivesAnAviThatTheCodecDecodes) {
  const Bytes stream =
      EncodeWithFfmpeg(kGraph, 6, {"-q:v", "3", "-qmin", "1", "-flags", "+ildct+ilme"});
  const TemporaryFile whole(".m2v");
  whole.Store(std::string(stream.begin(), stream.end()));
  const TemporaryFile avi(".avi");
  const ToolRun run = RunVfwtool({"import", whole.Name(), "-o", avi.Name()});
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_TRUE(run.output.starts_with("imported 6 frames of 176x144 at 25 frames/s")) << run.output;
  ExpectSamePictures(LoadAvi(avi.Name()), stream);

  // The same with sequence headers before the first picture alone: all but the first unit group.
  Bytes sparse;
  bool isFirst = true;
  for (Bytes frame : SplitFrames(stream)) {
    const std::vector<std::size_t> units = FindUnits(frame);
    const auto picture = static_cast<std::size_t>(
        std::ranges::find_if(units, [&](std::size_t unit) { return frame[unit + 3] == 0; }) -
        units.begin());
    const std::size_t begin = isFirst ? 0 : units.at(picture);
    sparse.insert(sparse.end(), frame.begin() + static_cast<std::ptrdiff_t>(begin), frame.end());
    isFirst = false;
  }
  ASSERT_LT(sparse.size(), stream.size());
  const TemporaryFile sparseFile(".m2v");
  sparseFile.Store(std::string(sparse.begin(), sparse.end()));
  const TemporaryFile sparseAvi(".avi");
  EXPECT_EQ(RunVfwtool({"import", sparseFile.Name(), "-o", sparseAvi.Name(), "--rate", "50"})
                .output.find("at 50 frames/s"),
            std::string{"imported 6 frames of 176x144 "}.size());
  ExpectSamePictures(LoadAvi(sparseAvi.Name()), stream);
}

TEST(ToolImport, WhatIsImportedIsExportedAsItWas) {
  const Bytes stream = EncodeWithFfmpeg(kProgressiveGraph, 3, {"-q:v", "5"});
  const TemporaryFile file(".m2v");
  file.Store(std::string(stream.begin(), stream.end()));
  const TemporaryFile avi(".avi");
  const TemporaryFile again(".m2v");
  EXPECT_EQ(RunVfwtool({"import", file.Name(), "-o", avi.Name()}).exitCode, 0);
  EXPECT_EQ(RunVfwtool({"export", avi.Name(), "-o", again.Name()}).exitCode, 0);
  EXPECT_EQ(DecodeWithFfmpeg(again.Contents()).data, DecodeWithFfmpeg(stream).data);
}

TEST(ToolImport, RefusesWhatFfmpegMakesOtherwise) {
  struct Case {
    Arguments arguments;
    const char* message;
  };
  const std::string matrix = "8" + [] {
    std::string rest;
    for (int i = 1; i < 64; ++i) {
      rest += ",20";
    }
    return rest;
  }();
  const std::vector<Case> cases = {
      {{"-pix_fmt", "yuv420p", "-g", "1", "-intra_vlc", "1", "-f", "mpeg2video"}, "is 4:2:0"},
      {{"-pix_fmt", "yuv422p", "-g", "1", "-f", "mpeg2video"}, "has intra_vlc_format 0"},
      {{"-pix_fmt", "yuv422p", "-g", "9", "-intra_vlc", "1", "-f", "mpeg2video"},
       "frame 2 is no intra picture"},
      {{"-pix_fmt", "yuv422p", "-g", "1", "-intra_vlc", "1", "-vf", "scale=172:144", "-f",
        "mpeg2video"},
       "is 172x144"},
      {{"-pix_fmt", "yuv422p", "-g", "1", "-intra_vlc", "1", "-intra_matrix", matrix, "-f",
        "mpeg2video"},
       "brings a quantiser matrix"},
      {{"-c:v", "mpeg1video", "-pix_fmt", "yuv420p", "-g", "1", "-f", "mpeg1video"}, "is MPEG-1"},
      {{"-pix_fmt", "yuv422p", "-g", "1", "-f", "vob"}, "is an MPEG program stream"},
      {{"-pix_fmt", "yuv422p", "-g", "1", "-f", "mpegts"}, "is no MPEG video elementary stream"},
      {{"-c:v", "wrapped_avframe", "-pix_fmt", "yuv422p", "-f", "yuv4mpegpipe"},
       "is no MPEG video elementary stream"},
  };
  for (const Case& entry : cases) {
    const TemporaryFile file(".m2v");
    const TemporaryFile avi(".avi");
    RunFfmpeg(Arguments{"-v", "error", "-f", "lavfi", "-i", kProgressiveGraph, "-frames:v", "3",
                        "-c:v", "mpeg2video"} +
              entry.arguments + Arguments{file.Name()});
    const ToolRun run = RunVfwtool({"import", file.Name(), "-o", avi.Name()});
    EXPECT_EQ(run.exitCode, kInputExitCode) << entry.message;
    EXPECT_NE(run.errors.find(entry.message), std::string::npos) << run.errors;
    EXPECT_EQ(run.output, "");
  }
}

TEST(ToolAvi, FfmpegReadsEverySegment) {
  constexpr Size kSmall = {64, 48};
  const Bytes pixels = GenerateWithFfmpeg("testsrc2=size=64x48:rate=25", 60, "yuyv422");
  constexpr std::size_t kSoundBytesAFrame = 640;
  Bytes sound(60 * kSoundBytesAFrame);
  for (std::size_t i = 0; i < sound.size(); ++i) {
    sound[i] = static_cast<std::uint8_t>(i * i / 7);
  }
  const TemporaryFile file(".avi");
  EXPECT_GT(StoreSegmentedYuy2(file.Name(), kSmall, pixels, sound), 5U);
  const FfmpegOutput read =
      RunFfmpeg({"-v", "error", "-i", file.Name(), "-f", "rawvideo", "-pix_fmt", "yuyv422",
                 "-fps_mode", "passthrough", "pipe:1"});
  EXPECT_EQ(read.messages, "");
  EXPECT_TRUE(read.data == pixels)
      << read.data.size() << " bytes where " << pixels.size() << " belong";
  const FfmpegOutput heard = RunFfmpeg({"-v", "error", "-i", file.Name(), "-f", "s16le", "pipe:1"});
  EXPECT_EQ(heard.messages, "");
  EXPECT_TRUE(heard.data == sound)
      << heard.data.size() << " bytes where " << sound.size() << " belong";
}

}  // namespace
}  // namespace qivm::interop
