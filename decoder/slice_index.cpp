#include "decoder/slice_index.h"

#include "mpeg2/start_codes.h"

namespace qivm {

std::span<const std::uint8_t> SliceIndex::Find(std::span<const std::uint8_t> frame,
                                               std::size_t offset, int rows,
                                               StartCodeKernel findStartCode) {
  using mpeg2::kStartCodeBytes;
  constexpr std::size_t kPrefixBytes = kStartCodeBytes - 1;
  slices_.fill({});
  found_ = 0;
  const std::uint8_t* const end = frame.data() + frame.size();
  const std::uint8_t* code = findStartCode(frame.data() + offset, end);
  while (end - code >= static_cast<std::ptrdiff_t>(kStartCodeBytes)) {
    const std::uint32_t value = mpeg2::kPictureStartCode | code[3];
    if (value == mpeg2::kSequenceEndCode && found_ >= rows) {
      return frame.first(static_cast<std::size_t>(code - frame.data()) + kStartCodeBytes);
    }
    const std::uint8_t* const content = code + kStartCodeBytes;
    // A value of 0, which damage in the zero bytes before a slice leaves, can be a code's first
    // byte.
    code = findStartCode(code + kPrefixBytes, end);
    if (value >= mpeg2::kFirstSliceStartCode && value <= mpeg2::kLastSliceStartCode) {
      slices_[value - mpeg2::kFirstSliceStartCode] = {content, code};
      ++found_;
    }
  }
  return frame;
}

}  // namespace qivm
