#pragma once

#include <array>
#include <cstddef>

#include "decoder/slice_index.h"
#include "decoder/slice_lanes.h"
#include "kernels/output_converter.h"
#include "mpeg2/macroblock_record.h"
#include "mpeg2/picture_parameters.h"
#include "platform/heap_object.h"
#include "platform/row_crew.h"

namespace qivm {

/// A frame whose headers are read, as every thread that decodes rows of it sees it.
struct FrameRows {
  PictureParameters parameters;
  SliceIndex index;
};

/// Decodes rows of frames on one thread: claims them, reads several at once, transforms each
/// macroblock and writes it into the client's bitmap as soon as it is read.
class RowDecoder : public HeapObject {
 public:
  explicit RowDecoder(const KernelSet& kernels)
      : dequantise_(kernels.dequantise), idct_(kernels.idct) {}

  /// Decodes rows until none is left to be claimed. A call that a fault has ended is repeated: the
  /// rows that were being decoded are then decoded once more, each alone, so that it is the same
  /// rows and macroblocks that a fault keeps from the bitmap, whoever decodes them.
  void DecodeRows(const FrameRows& frame, const OutputConverter& converter, RowCrew::Seat& seat);

 private:
  static constexpr int kNoRow = RowCrew::kNoRow;

  void DecodeAlone(const FrameRows& frame, const OutputConverter& converter, int row);
  void DecodeClaimed(const FrameRows& frame, const OutputConverter& converter, RowCrew::Seat& seat);
  void Start(std::size_t lane, const FrameRows& frame, int row);
  bool FinishMacroblock(std::size_t lane, const FrameRows& frame, const OutputConverter& converter);
  static int ClaimShown(const FrameRows& frame, const OutputConverter& converter,
                        RowCrew::Seat& seat);

  DequantiseKernel dequantise_;
  MacroblockKernel idct_;
  SliceLanes lanes_;
  MacroblockRecord record_;

  /// The row of each lane and its next macroblock's column.
  struct Place {
    int row = kNoRow;
    int column = 0;
  };
  std::array<Place, SliceLanes::kLanes> places_;
  /// Whether the lanes may hold what a fault has left there.
  bool interrupted_ = false;
};

}  // namespace qivm
