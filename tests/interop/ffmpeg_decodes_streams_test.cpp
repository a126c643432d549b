// ffmpeg decodes the streams that the codec writes, without a message and to what the codec's own
// decoder makes of them within 2, once the first macroblock's increment is the "1" that any other
// decoder expects.

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

#include "tests/interop/codec_runs.h"
#include "tests/interop/elementary_stream.h"
#include "tests/interop/ffmpeg.h"
#include "tests/interop/sample_difference.h"

namespace qivm::interop {

namespace {

constexpr int kLargestDifference = 2;
constexpr int kFrames = 3;

struct Clip {
  const char* name;
  std::string graph;
  Size size;
  ClientFormat format = ClientFormat::yuy2;
};

std::ostream& operator<<(std::ostream& stream, const Clip& clip) { return stream << clip.name; }

Bytes Generate(const Clip& clip) {
  const std::string graph = GraphOfSize(clip.graph, clip.size);
  return clip.format == ClientFormat::rgb24 ? GenerateWithFfmpeg(graph + ",vflip", kFrames, "bgr24")
                                            : GenerateWithFfmpeg(graph, kFrames, "yuyv422");
}

class CodecStreams : public testing::TestWithParam<std::tuple<Clip, std::uint32_t>> {};

TEST_P(CodecStreams, DecodeInFfmpeg) {
  const auto& [clip, quality] = GetParam();
  const Bytes pixels = Generate(clip);
  const std::size_t planarSize = 2 * clip.size.Samples();
  int largest = 0;
  for (const Processor& processor : ProcessorsToTest()) {
    SCOPED_TRACE("tier " + std::to_string(static_cast<int>(processor.tier)) + " with " +
                 std::to_string(processor.count) + " processors");
    const std::vector<Bytes> frames =
        EncodeFrames(pixels, clip.size, clip.format, quality, processor);
    ASSERT_EQ(frames.size(), std::size_t{kFrames});
    std::vector<Bytes> patched = frames;
    for (Bytes& frame : patched) {
      EXPECT_EQ(SetFirstIncrementBit(frame), 0);
    }
    const FfmpegOutput decoded = DecodeWithFfmpeg(JoinFrames(patched));
    EXPECT_EQ(decoded.messages, "");
    ASSERT_EQ(decoded.data.size(), kFrames * planarSize);

    const std::vector<Bytes> own = DecodeToYuy2(frames, clip.size, processor);
    EXPECT_TRUE(DecodeToYuy2(patched, clip.size, processor) == own);
    for (std::size_t i = 0; i < own.size(); ++i) {
      const SampleDifference difference =
          Compare(own[i], std::span(decoded.data).subspan(i * planarSize, planarSize), clip.size);
      EXPECT_LE(difference.largest, kLargestDifference)
          << "frame " << i << ", " << difference.place;
      largest = std::max(largest, difference.largest);
    }
  }
  std::cout << "largest difference: " << largest << "\n";
}

std::string StreamName(const testing::TestParamInfo<std::tuple<Clip, std::uint32_t>>& info) {
  return std::get<Clip>(info.param).name + std::string("AtQuality") +
         std::to_string(std::get<std::uint32_t>(info.param));
}

INSTANTIATE_TEST_SUITE_P(
    Interop, CodecStreams,
    testing::Combine(
        testing::Values(
            Clip{"Interlaced",
                 "testsrc2=size=SIZE:rate=50,tinterlace=mode=interleave_top",
                 {720, 576}},
            Clip{"Noisy", "testsrc2=size=SIZE:rate=25,noise=alls=25:allf=t", {352, 288}},
            Clip{"Fractal",
                 "mandelbrot=size=SIZE:rate=25:start_scale=0.2",
                 {720, 480},
                 ClientFormat::rgb24},
            Clip{"OddRows", "testsrc2=size=SIZE:rate=25,noise=alls=25:allf=t", {176, 144}},
            Clip{"Small", "mandelbrot=size=SIZE:rate=25:start_scale=0.2", {16, 16}}),
        testing::Values(10000U, 8000U, 5000U, 0U)),
    StreamName);

INSTANTIATE_TEST_SUITE_P(
    InteropLarge, CodecStreams,
    testing::Combine(
        testing::Values(Clip{"HighDefinition",
                             "testsrc2=size=SIZE:rate=25,noise=alls=8:allf=t",
                             {1920, 1088},
                             ClientFormat::rgb24},
                        Clip{"Largest",
                             "testsrc2=size=SIZE:rate=50,tinterlace=mode=interleave_top",
                             {2048, 2048}}),
        testing::Values(8000U)),
    StreamName);

}  // namespace

}  // namespace qivm::interop
