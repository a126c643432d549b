#include "decoder/slice_index.h"

#include <algorithm>

#include "mpeg2/start_codes.h"

namespace qivm {

void SliceIndex::Find(std::span<const std::uint8_t> frame, std::size_t offset, int rows,
                      StartCodeKernel findStartCode, RowCrew& crew) {
  using mpeg2::kStartCodeBytes;
  slices_.fill({});
  found_ = 0;
  frame_ = frame;
  search_.Begin(frame, offset, findStartCode, crew);
  const std::uint8_t* const end = frame.data() + frame.size();
  const std::uint8_t* code = search_.Next();
  while (end - code >= static_cast<std::ptrdiff_t>(kStartCodeBytes)) {
    const std::uint32_t value = mpeg2::kPictureStartCode | code[3];
    if (value == mpeg2::kSequenceEndCode && found_ >= rows) {
      frame_ = frame.first(static_cast<std::size_t>(code - frame.data()) + kStartCodeBytes);
      break;
    }
    const std::uint8_t* const content = code + kStartCodeBytes;
    code = search_.Next();
    if (value >= mpeg2::kFirstSliceStartCode && value <= mpeg2::kLastSliceStartCode) {
      // Bytes that a host changes meanwhile may name a slice where the next code begins.
      slices_[value - mpeg2::kFirstSliceStartCode] = {content, std::max(content, code)};
      ++found_;
    }
  }
}

}  // namespace qivm
