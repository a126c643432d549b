#include "tools/vfwtool/image_files.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/little_endian.h"

namespace qivm {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(NumberedName, PutsTheNumberBeforeTheExtension) {
  EXPECT_EQ(NumberedName("frame.png", 1), "frame-000001.png");
  EXPECT_EQ(NumberedName("a.b/frame.PNG", 123456), "a.b/frame-123456.PNG");
  EXPECT_EQ(NumberedName("x.bmp", 1234567), "x-1234567.bmp");
}

TEST(BmpSink, WritesBitmapFiles) {
  for (const PixelFormat pixelFormat : {PixelFormat::kRgb24, PixelFormat::kRgb32}) {
    const FrameLayout layout{pixelFormat, 10, 3};
    const TemporaryFile file(".bmp");
    BmpSink sink(file.Name(), layout);
    for (std::uint8_t i = 1; i <= 2; ++i) {
      sink.Write(Bytes(layout.FrameBytes(), i));
    }
    sink.Finish();
    for (std::uint8_t i = 1; i <= 2; ++i) {
      const std::string name = NumberedName(file.Name(), i);
      std::ifstream stream = OpenInput(name);
      const Bytes bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
      stream.close();
      RemoveFile(name);
      ASSERT_EQ(bytes.size(), 54 + layout.FrameBytes());
      EXPECT_EQ(bytes[0], 'B');
      EXPECT_EQ(bytes[1], 'M');
      EXPECT_EQ(ReadLittleEndian32(bytes, 2), bytes.size());
      EXPECT_EQ(ReadLittleEndian32(bytes, 6), 0U);
      EXPECT_EQ(ReadLittleEndian32(bytes, 10), 54U);
      EXPECT_EQ(Bytes(bytes.begin() + 14, bytes.begin() + 54), MakeBitmapFormat(layout));
      EXPECT_EQ(Bytes(bytes.begin() + 54, bytes.end()), Bytes(layout.FrameBytes(), i));
    }
  }
}

TEST(BmpSink, AFolderThatIsMissingIsToldOf) {
  BmpSink sink("no-such-folder/frame.bmp", {PixelFormat::kRgb24, 2, 2});
  EXPECT_TRUE(MessageOf(ExitCode::kOutput, [&] {
                sink.Write(Bytes(16));
              }).starts_with("no-such-folder/frame-000001.bmp: cannot be created"));
}

}  // namespace
}  // namespace qivm
