#include "tools/vfwtool/image_files.h"

#include <fstream>
#include <utility>
#include <vector>

#include "tools/vfwtool/bitmap_format.h"
#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/little_endian.h"
#include "tools/vfwtool/stream_output.h"

namespace qivm {

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
  ++written_;
  WriteImage(NumberedName(name_, written_), frame.first(layout_.FrameBytes()));
}

void BmpSink::WriteImage(const std::string& name, std::span<const std::uint8_t> picture) {
  constexpr std::uint32_t kFileHeaderBytes = 14;
  constexpr std::uint32_t kSignature = 'B' | 'M' << 8;
  constexpr std::uint32_t kHeaderBytes = kFileHeaderBytes + kBitmapHeaderBytes;
  std::vector<std::uint8_t> header;
  AppendLittleEndian16(header, kSignature);
  AppendLittleEndian32(header, kHeaderBytes + static_cast<std::uint32_t>(picture.size()));
  AppendLittleEndian32(header, 0);  // Reserved.
  AppendLittleEndian32(header, kHeaderBytes);
  const std::vector<std::uint8_t> format = MakeBitmapFormat(Layout());
  header.insert(header.end(), format.begin(), format.end());
  std::ofstream file = OpenOutput(name);
  WriteBytes(file, name, header);
  WriteBytes(file, name, picture);
  CloseOutput(file, name);
}

}  // namespace qivm
