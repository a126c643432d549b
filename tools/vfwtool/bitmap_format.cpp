#include "tools/vfwtool/bitmap_format.h"

#include "tools/vfwtool/little_endian.h"

namespace qivm {

BitmapFormat ReadBitmapFormat(std::span<const std::uint8_t> format) {
  return {.width = static_cast<std::int32_t>(ReadLittleEndian32(format, 4)),
          .height = static_cast<std::int32_t>(ReadLittleEndian32(format, 8)),
          .bits = ReadLittleEndian16(format, 14),
          .compression = ReadLittleEndian32(format, 16)};
}

bool IsCompressed(std::span<const std::uint8_t> format) {
  const BitmapFormat bitmap = ReadBitmapFormat(format);
  return NeedsCodec(bitmap.compression, bitmap.bits);
}

std::vector<std::uint8_t> MakeBitmapFormat(const FrameLayout& layout) {
  std::vector<std::uint8_t> format;
  AppendLittleEndian32(format, kBitmapHeaderBytes);
  AppendLittleEndian32(format, layout.width);
  AppendLittleEndian32(format, layout.height);
  AppendLittleEndian16(format, 1);  // Planes.
  AppendLittleEndian16(format, PixelFormatBits(layout.format));
  AppendLittleEndian32(format, PixelFormatCompression(layout.format));
  AppendLittleEndian32(format, static_cast<std::uint32_t>(layout.FrameBytes()));
  format.resize(kBitmapHeaderBytes);  // No resolution, no palette.
  return format;
}

}  // namespace qivm
