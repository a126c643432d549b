#include "tools/vfwtool/media/y4m.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/media/clip.h"

namespace vfwtool {
namespace {

// Two frames of 4x2: 8 bytes of luminance, 4 of each chrominance.
constexpr char kClip[] =
    "YUV4MPEG2 W4 H2 F30000:1001 It A59:54 C422 XCOLORRANGE=LIMITED\n"
    "FRAME\n"
    "abcdefgh1234WXYZ"
    "FRAME Ip\n"
    "ABCDEFGH5678stuv";
constexpr char kFirstPacked[] = "a1bWc2dXe3fYg4hZ";
constexpr char kSecondPacked[] = "A5BsC6DtE7FuG8Hv";

std::string HeaderRefusal(const std::string& line) {
  return MessageOf(ExitCode::kInput, [&] { ParseY4mHeader(line, "clip"); });
}

std::string AsText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(Y4mHeader, StatesSizeAndRate) {
  const Y4mHeader header = ParseY4mHeader("YUV4MPEG2 C422 F25:1 H576  W720 Xanything Ib", "clip");
  EXPECT_EQ(header.width, 720U);
  EXPECT_EQ(header.height, 576U);
  EXPECT_EQ(header.rate, (FrameRate{25, 1}));
  EXPECT_EQ(header.fields, FieldOrder::kBottomFirst);
}

TEST(Y4mHeader, IsReadAsItIsWritten) {
  const Y4mHeader header = ParseY4mHeader(Y4mHeaderLine({16, 32, {30000, 1001}}), "clip");
  EXPECT_EQ(header.width, 16U);
  EXPECT_EQ(header.height, 32U);
  EXPECT_EQ(header.rate, (FrameRate{30000, 1001}));
}

TEST(Y4mHeader, OtherSampleFormatsAreRefusedByName) {
  for (const char* const chroma : {"420jpeg", "422p10", "444", "mono"}) {
    const std::string message = HeaderRefusal(std::string("YUV4MPEG2 W16 H16 F25:1 C") + chroma);
    EXPECT_TRUE(Contains(message, std::string("the sample format '") + chroma + "'")) << message;
  }
  EXPECT_TRUE(Contains(HeaderRefusal("YUV4MPEG2 W16 H16 F25:1"), "the sample format '420'"));
}

TEST(Y4mHeader, NonsenseIsRefused) {
  EXPECT_EQ(HeaderRefusal("RIFF"), "clip: is not a Y4M clip");
  EXPECT_EQ(HeaderRefusal("YUV4MPEG"), "clip: is not a Y4M clip");
  EXPECT_TRUE(Contains(HeaderRefusal("YUV4MPEG2 H16 F25:1 C422"), "states no picture size"));
  EXPECT_TRUE(Contains(HeaderRefusal("YUV4MPEG2 W16 F25:1 C422"), "states no picture size"));
  EXPECT_TRUE(Contains(HeaderRefusal("YUV4MPEG2 W16 H16 C422"), "states no frame rate"));
  EXPECT_TRUE(Contains(HeaderRefusal("YUV4MPEG2 W15 H16 F25:1 C422"), "needs an even width"));
  for (const char* const width : {"0", "-16", "16x", "", "16385", "99999999999"}) {
    const std::string message = HeaderRefusal(std::string("YUV4MPEG2 H16 F25:1 C422 W") + width);
    EXPECT_TRUE(Contains(message, std::string("a width of '") + width + "'")) << message;
  }
  for (const char* const rate : {"0:0", "25", "25:0", "0:1", "a:b", "25:1:1", "4000000000:1", ""}) {
    const std::string message = HeaderRefusal(std::string("YUV4MPEG2 W16 H16 C422 F") + rate);
    EXPECT_TRUE(Contains(message, std::string("the frame rate as '") + rate + "'")) << message;
  }
}

TEST(Y4mSource, GivesPackedFrames) {
  std::istringstream stream{std::string(kClip)};
  Y4mSource source(stream, "clip", std::string(kClip).size());
  EXPECT_EQ(source.Format().layout, (FrameLayout{PixelFormat::kYuy2, 4, 2}));
  EXPECT_EQ(source.Format().rate, (FrameRate{30000, 1001}));
  EXPECT_EQ(source.FrameCount(), 2U);
  Bytes frame(16);
  ASSERT_TRUE(source.Read(frame));
  EXPECT_EQ(AsText(frame), kFirstPacked);
  ASSERT_TRUE(source.Read(frame));
  EXPECT_EQ(AsText(frame), kSecondPacked);
  EXPECT_FALSE(source.Read(frame));
}

TEST(Y4mSource, OfUnknownSizeTellsNoFrameCount) {
  std::istringstream stream{std::string(kClip)};
  EXPECT_FALSE(Y4mSource(stream, "clip", std::nullopt).FrameCount().has_value());
}

TEST(Y4mSource, NoticesWhereTheClipBreaksOff) {
  const std::string clip = kClip;
  for (std::size_t length = 0; length < clip.size(); ++length) {
    std::istringstream stream(clip.substr(0, length));
    std::size_t frames = 0;
    std::string message;
    try {
      Y4mSource source(stream, "clip", std::nullopt);
      Bytes frame(16);
      while (source.Read(frame)) {
        ++frames;
      }
    } catch (const ToolError& error) {
      EXPECT_EQ(static_cast<int>(error.Code()), static_cast<int>(ExitCode::kInput));
      message = error.what();
    }
    const std::size_t afterHeader = clip.find('\n') + 1;
    const std::size_t afterFirst = clip.find("FRAME Ip");
    const bool isWhole = length == afterFirst;
    if (length == afterHeader) {
      EXPECT_EQ(message, "clip: has no frames");
    }
    EXPECT_EQ(message.empty(), isWhole) << "cut at " << length;
    EXPECT_EQ(frames, length < afterFirst ? 0U : 1U) << "cut at " << length;
  }
}

TEST(Y4mSource, NoticesDamage) {
  std::string clip = kClip;
  clip[clip.find("FRAME Ip")] = 'x';
  std::istringstream stream(clip);
  Y4mSource source(stream, "clip", std::nullopt);
  Bytes frame(16);
  ASSERT_TRUE(source.Read(frame));
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { source.Read(frame); }),
            "clip: the Y4M clip is damaged: no frame begins after 1 frame");
}

TEST(Y4mSource, AHeaderWithoutEndIsNotReadForEver) {
  std::istringstream stream("YUV4MPEG2 W16 H16 X" + std::string(100000, 'x'));
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { Y4mSource(stream, "clip", std::nullopt); }),
            "clip: a header line of the Y4M clip does not end");
  EXPECT_LT(stream.tellg(), 10000);
}

TEST(Y4mSink, WritesPlanes) {
  for (const bool isUyvy : {false, true}) {
    const FrameLayout layout{isUyvy ? PixelFormat::kUyvy : PixelFormat::kYuy2, 4, 2};
    const Bytes packed(kFirstPacked, kFirstPacked + 16);
    Bytes frame(16);
    Repack({PixelFormat::kYuy2, 4, 2}, packed, layout.format, frame);
    const TemporaryFile file(".y4m");
    Output output(file.Name());
    Y4mSink sink(output, {layout, {25, 1}});
    sink.Write(frame);
    sink.Finish();
    EXPECT_EQ(file.Text(), "YUV4MPEG2 W4 H2 F25:1 I? A0:0 C422\nFRAME\nabcdefgh1234WXYZ");
  }
}

TEST(Y4mSink, StatesTheFieldOrder) {
  for (const auto& [fields, letter] :
       {std::pair{FieldOrder::kProgressive, 'p'}, std::pair{FieldOrder::kTopFirst, 't'},
        std::pair{FieldOrder::kBottomFirst, 'b'}, std::pair{FieldOrder::kMixed, 'm'}}) {
    const std::string line = Y4mHeaderLine({4, 2, {25, 1}, fields});
    EXPECT_EQ(line, std::string("YUV4MPEG2 W4 H2 F25:1 I") + letter + " A0:0 C422");
    EXPECT_EQ(ParseY4mHeader(line, "clip").fields, fields);
  }
}

TEST(Y4mSink, WorkBrokenOffLeavesWholeFrames) {
  const TemporaryFile file(".y4m");
  {
    Output output(file.Name());
    Y4mSink sink(output, {{PixelFormat::kYuy2, 4, 2}, {25, 1}});
    sink.Write(Bytes(16));
    output.Write("FRAME\nhalf");
    EXPECT_EQ(sink.FinishEarly(), 1U);
  }
  EXPECT_TRUE(Contains(file.Text(), "FRAME\n"));
  EXPECT_FALSE(Contains(file.Text(), "half"));
}

TEST(Y4mSource, TakesNoMemoryForWhatIsNotThere) {
  // Pictures of 512 MB, of which there are a few bytes.
  std::istringstream stream("YUV4MPEG2 W16384 H16384 F25:1 C422\nFRAME\nabc");
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { Y4mSource(stream, "clip", std::nullopt); }),
            "clip: the Y4M clip ends inside its frame 1");
}

TEST(RepackingSource, HandsOutTheOtherFormat) {
  std::istringstream stream{std::string(kClip)};
  RepackingSource source(std::make_unique<Y4mSource>(stream, "clip", std::string(kClip).size()),
                         PixelFormat::kUyvy, "clip");
  EXPECT_EQ(source.Format().layout, (FrameLayout{PixelFormat::kUyvy, 4, 2}));
  EXPECT_EQ(source.FrameCount(), 2U);
  Bytes frame(16);
  ASSERT_TRUE(source.Read(frame));
  EXPECT_EQ(AsText(frame), "1aWb2cXd3eYf4gZh");
  ASSERT_TRUE(source.Read(frame));
  EXPECT_FALSE(source.Read(frame));
}

TEST(RepackingSource, ConvertsNoColours) {
  std::istringstream stream{std::string(kClip)};
  const std::string message = MessageOf(ExitCode::kUsage, [&] {
    RepackingSource(std::make_unique<Y4mSource>(stream, "clip", std::nullopt), PixelFormat::kRgb24,
                    "clip");
  });
  EXPECT_TRUE(Contains(message, "the pictures of clip are yuy2")) << message;
}

}  // namespace
}  // namespace vfwtool
