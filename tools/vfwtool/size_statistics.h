#pragma once

#include <cstdint>

#include "tools/vfwtool/json.h"

namespace qivm {

/// The sizes of a clip's frames in bytes.
class SizeStatistics {
 public:
  void Add(std::uint64_t bytes);

  std::uint64_t Count() const { return count_; }
  std::uint64_t Total() const { return total_; }
  /// The extremes and the mean; 0 while nothing was added.
  std::uint64_t Smallest() const { return smallest_; }
  std::uint64_t Largest() const { return largest_; }
  double Mean() const;

  /// "2.02 Mbit a frame (smallest 0.20 MB, largest 0.26 MB)"
  std::string Text() const;
  JsonObject Json() const;

 private:
  std::uint64_t count_ = 0;
  std::uint64_t total_ = 0;
  std::uint64_t smallest_ = 0;
  std::uint64_t largest_ = 0;
};

}  // namespace qivm
