#include "tools/vfwtool/raw_sink.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tools/vfwtool/stream_output.h"

namespace qivm {

RawSink::RawSink(std::ostream& stream, std::string name, const FrameLayout& layout)
    : stream_(stream), name_(std::move(name)), layout_(layout) {
  pixels_.resize(layout_.PixelBytesPerRow() * layout_.height);
}

void RawSink::Write(std::span<const std::uint8_t> frame) {
  const std::size_t pixelBytes = layout_.PixelBytesPerRow();
  for (std::size_t row = 0; row < layout_.height; ++row) {
    const std::size_t stored = IsRgb(layout_.format) ? layout_.height - 1 - row : row;
    std::ranges::copy(frame.subspan(stored * layout_.RowBytes(), pixelBytes),
                      pixels_.begin() + static_cast<std::ptrdiff_t>(row * pixelBytes));
  }
  WriteBytes(stream_, name_, pixels_);
}

void RawSink::Finish() { FlushOutput(stream_, name_); }

}  // namespace qivm
