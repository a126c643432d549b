#include "tools/vfwtool/media/picture_files.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

// The library is this one header; its functions stay in this file.
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>

namespace vfwtool {
namespace {

/// The pixels of a picture alone, its rows from the top down.
void CopyPixels(const FrameLayout& layout, std::span<const std::uint8_t> picture,
                std::span<std::uint8_t> pixels) {
  const std::size_t pixelBytes = layout.PixelBytesPerRow();
  for (std::size_t row = 0; row < layout.height; ++row) {
    const std::size_t stored = IsRgb(layout.format) ? layout.height - 1 - row : row;
    std::ranges::copy(picture.subspan(stored * layout.RowBytes(), pixelBytes),
                      pixels.begin() + static_cast<std::ptrdiff_t>(row * pixelBytes));
  }
}

}  // namespace

std::string NumberedName(const std::string& name, std::uint64_t number) {
  constexpr std::size_t kDigits = 6;
  std::string digits = std::to_string(number);
  if (digits.size() < kDigits) {
    digits.insert(0, kDigits - digits.size(), '0');
  }
  const std::size_t dot = name.rfind('.');
  return name.substr(0, dot) + '-' + digits + name.substr(dot);
}

ImageSink::ImageSink(std::string name, const FrameLayout& layout)
    : name_(std::move(name)), layout_(layout) {}

void ImageSink::Write(std::span<const std::uint8_t> frame) {
  Output file(NumberedName(name_, written_ + 1));
  file.Write(Image(layout_, frame.first(layout_.FrameBytes())));
  file.Close();
  ++written_;
}

Bytes BmpSink::Image(const FrameLayout& layout, std::span<const std::uint8_t> picture) const {
  constexpr std::uint32_t kFileHeaderBytes = 14;
  constexpr std::uint32_t kSignature = 'B' | 'M' << 8;
  constexpr std::uint32_t kHeaderBytes = kFileHeaderBytes + kBitmapHeaderBytes;
  Bytes image;
  AppendLittleEndian16(image, kSignature);
  AppendLittleEndian32(image, kHeaderBytes + static_cast<std::uint32_t>(picture.size()));
  AppendLittleEndian32(image, 0);  // Reserved.
  AppendLittleEndian32(image, kHeaderBytes);
  const Bytes format = MakeBitmapFormat(layout);
  image.insert(image.end(), format.begin(), format.end());
  image.insert(image.end(), picture.begin(), picture.end());
  return image;
}

Bytes PngSink::Image(const FrameLayout& layout, std::span<const std::uint8_t> picture) const {
  constexpr int kColours = 3;
  const FrameLayout rgb24{PixelFormat::kRgb24, layout.width, layout.height};
  Bytes repacked(rgb24.FrameBytes());
  Repack(layout, picture, rgb24.format, repacked);
  Bytes pixels(rgb24.PixelBytesPerRow() * rgb24.height);
  CopyPixels(rgb24, repacked, pixels);
  for (std::size_t i = 0; i < pixels.size(); i += kColours) {
    std::swap(pixels[i], pixels[i + 2]);  // To red, green, blue.
  }
  Bytes image;
  const auto append = [](void* target, void* data, int bytes) {
    const auto* const begin = static_cast<const std::uint8_t*>(data);
    auto& all = *static_cast<Bytes*>(target);
    all.insert(all.end(), begin, begin + bytes);
  };
  const int isWritten =
      stbi_write_png_to_func(append, &image, static_cast<int>(layout.width),
                             static_cast<int>(layout.height), kColours, pixels.data(), 0);
  if (isWritten == 0) {
    throw std::bad_alloc();
  }
  return image;
}

RawSink::RawSink(Output& output, const FrameLayout& layout)
    : output_(output), layout_(layout), pixels_(layout.PixelBytesPerRow() * layout.height) {}

void RawSink::Write(std::span<const std::uint8_t> frame) {
  CopyPixels(layout_, frame, pixels_);
  output_.Write(pixels_);
  output_.Keep();
  ++frames_;
}

}  // namespace vfwtool
