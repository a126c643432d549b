#include "tools/vfwtool/size_statistics.h"

#include <algorithm>

#include "tools/vfwtool/text.h"

namespace qivm {

void SizeStatistics::Add(std::uint64_t bytes) {
  smallest_ = count_ == 0 ? bytes : std::min(smallest_, bytes);
  largest_ = std::max(largest_, bytes);
  total_ += bytes;
  ++count_;
}

double SizeStatistics::Mean() const {
  return count_ == 0 ? 0.0 : static_cast<double>(total_) / static_cast<double>(count_);
}

std::string SizeStatistics::Text() const {
  constexpr double kBitsPerByte = 8.0;
  return Concat(FixedText(Mean() * kBitsPerByte / 1e6, 3), " Mbit a frame (smallest ",
                ByteCountText(smallest_), ", largest ", ByteCountText(largest_), ")");
}

JsonObject SizeStatistics::Json() const {
  JsonObject json;
  json.Integer("total", static_cast<std::int64_t>(total_))
      .Integer("smallest", static_cast<std::int64_t>(smallest_))
      .Integer("largest", static_cast<std::int64_t>(largest_))
      .Number("mean", Mean(), 1);
  return json;
}

}  // namespace qivm
