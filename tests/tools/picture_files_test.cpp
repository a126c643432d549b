#include "tools/vfwtool/media/picture_files.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#include <stb_image.h>

#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

/// The contents of one of the numbered files of a sink, which is removed.
Bytes TakeNumbered(const TemporaryFile& file, std::uint64_t number) {
  const std::string name = NumberedName(file.Name(), number);
  const Bytes contents = ContentsOf(name);
  std::filesystem::remove(PathOf(name));
  return contents;
}

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
      const Bytes bytes = TakeNumbered(file, i);
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

TEST(PngSink, WritesWhatAnyReaderReads) {
  for (const PixelFormat pixelFormat : {PixelFormat::kRgb24, PixelFormat::kRgb32}) {
    const FrameLayout layout{pixelFormat, 5, 3};
    const std::size_t step = PixelFormatBits(pixelFormat) / 8U;
    Bytes picture(layout.FrameBytes());
    for (std::size_t i = 0; i < picture.size(); ++i) {
      picture[i] = static_cast<std::uint8_t>(37 * i);
    }
    const TemporaryFile file(".png");
    PngSink sink(file.Name(), layout);
    sink.Write(picture);
    const Bytes png = TakeNumbered(file, 1);
    int width = 0;
    int height = 0;
    int channels = 0;
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi_load_from_memory(png.data(), static_cast<int>(png.size()), &width, &height, &channels,
                              0),
        stbi_image_free);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(width, 5);
    EXPECT_EQ(height, 3);
    ASSERT_EQ(channels, 3);
    for (std::size_t y = 0; y < layout.height; ++y) {
      for (std::size_t x = 0; x < layout.width; ++x) {
        for (std::size_t colour = 0; colour < 3; ++colour) {
          EXPECT_EQ(pixels.get()[3 * (y * layout.width + x) + colour],
                    picture[(layout.height - 1 - y) * layout.RowBytes() + x * step + 2 - colour]);
        }
      }
    }
  }
}

TEST(ImageSink, AFolderThatIsMissingIsToldOf) {
  BmpSink sink("no-such-folder/frame.bmp", {PixelFormat::kRgb24, 2, 2});
  EXPECT_TRUE(MessageOf(ExitCode::kOutput, [&] {
                sink.Write(Bytes(16));
              }).starts_with("no-such-folder/frame-000001.bmp: cannot be created"));
  EXPECT_EQ(sink.FinishEarly(), 0U);
}

TEST(RawSink, WritesRgbFromTheTopDownWithoutPadding) {
  const TemporaryFile file(".raw");
  Output output(file.Name());
  RawSink sink(output, {PixelFormat::kRgb24, 1, 2});
  const Bytes bottomUp = {'d', 'e', 'f', '#', 'a', 'b', 'c', '#'};
  sink.Write(bottomUp);
  sink.Write(bottomUp);
  sink.Finish();
  EXPECT_EQ(file.Text(), "abcdefabcdef");
}

TEST(RawSink, WritesYuvAsItIs) {
  const TemporaryFile file(".raw");
  Output output(file.Name());
  RawSink sink(output, {PixelFormat::kUyvy, 2, 2});
  sink.Write(Bytes{'1', '2', '3', '4', '5', '6', '7', '8'});
  sink.Finish();
  EXPECT_EQ(file.Text(), "12345678");
}

}  // namespace
}  // namespace vfwtool
