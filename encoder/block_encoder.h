#pragma once

#include <cstdint>
#include <span>

#include "encoder/bit_writer.h"
#include "kernels/kernel_set.h"
#include "mpeg2/macroblock_record.h"
#include "mpeg2/picture_parameters.h"
#include "platform/heap_object.h"

namespace qivm {

/// Writes one frame, or the part of it that one thread codes: headers, slices and macroblocks, from
/// quantised coefficients in transmission order down to the bits. The stream is ISO/IEC 13818-2
/// with one slice a macroblock row; docs/format.md describes it.
class BlockEncoder : public HeapObject {
 public:
  /// Every class but the plain one codes blocks in the fast form, with the same bits.
  explicit BlockEncoder(const Processor& processor = {});

  /// The largest picture that the headers can describe without extensions of the slice start code.
  static constexpr int kMaxSize = 2048;
  /// What one macroblock and one slice header can take at most, in bytes: every coefficient an
  /// escape; a start code with its stuffing and 15 bits.
  static constexpr std::size_t kMaxMacroblockBytes = 1538;
  static constexpr std::size_t kMaxSliceHeaderBytes = 12;

  /// Sets up for pictures of the given size; false unless both sides are positive multiples of 16
  /// and at most kMaxSize.
  bool Init(int width, int height);

  /// Starts a frame, or a part of one, at the beginning of `output`.
  void StartFrame(std::span<std::uint8_t> output, std::uint8_t quantiserScaleCode);
  /// Writes everything that comes before the first slice.
  void WriteHeaders();
  /// Writes the record's macroblock (levels in transmission order) at the record's column and row;
  /// column 0 begins a slice.
  void WriteMacroblock(MacroblockRecord& record);

  /// The picture's settings; Init sets those of the codec's own streams.
  PictureParameters& Parameters() { return parameters_; }
  BitWriter& Writer() { return writer_; }

  /// Codes one block of a macroblock by its index, luminance first: the DC coefficient against its
  /// component's predictor (7.2.1), the levels by Table B-15, end of block.
  void CodeBlock(std::span<const std::int16_t, 64> block, int index);

 private:
  void WriteSequenceHeader();
  void WriteSequenceExtension();
  void WriteSequenceDisplayExtension();
  void WriteGroupHeader();
  void WriteUserData();
  void WritePictureHeader();
  void WritePictureCodingExtension();
  void WriteSliceHeader(int row);
  template <typename Put>
  void WriteMacroblockHeader(const MacroblockRecord& record, Put put) const;
  void CodeAc(std::span<const std::int16_t, 64> block);
  void CheckTable() const;

  MacroblockKernel levelMask_ = nullptr;  // what the fast form needs; null for the portable one
  PictureParameters parameters_;
  BitWriter writer_;
};

}  // namespace qivm
