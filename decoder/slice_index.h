#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "decoder/start_code_search.h"
#include "kernels/kernel_set.h"
#include "platform/row_crew.h"

namespace qivm {

/// Where the slices of a frame are, so that its rows can be decoded in any order. Every slice start
/// code begins a slice, whatever the slice before it holds, and any start code ends one: damage
/// stays in its row.
class SliceIndex {
 public:
  /// Rows that slice start codes can name.
  static constexpr int kMaxRows = 175;

  /// Finds the slices of a frame that begin at or behind `offset`, for a picture of `rows` rows. Of
  /// two slices for one row the last one counts; those for rows outside the picture count as found.
  /// A sequence end code ends the frame once as many slices are found as there are rows: what a
  /// host's buffer still holds of a larger frame before does not count. The crew's threads share
  /// the search.
  void Find(std::span<const std::uint8_t> frame, std::size_t offset, int rows,
            StartCodeKernel findStartCode, RowCrew& crew);

  /// The bytes of the frame up to the end that was found, all slices among them.
  std::span<const std::uint8_t> Frame() const { return frame_; }
  /// How many slices there are, whatever their rows.
  int Found() const { return found_; }
  /// The bytes of a row's slice behind its start code up to the next one; empty when there is none.
  std::span<const std::uint8_t> Slice(int row) const {
    return slices_[static_cast<std::size_t>(row)];
  }
  /// Whether the row has a slice, be it an empty one.
  bool Has(int row) const { return Slice(row).data() != nullptr; }

 private:
  StartCodeSearch search_;
  std::span<const std::uint8_t> frame_;
  std::array<std::span<const std::uint8_t>, kMaxRows> slices_;
  int found_ = 0;
};

}  // namespace qivm
