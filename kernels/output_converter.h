#pragma once

#include "kernels/client_bitmap.h"
#include "kernels/kernel_set.h"
#include "mpeg2/picture_parameters.h"
#include "platform/heap_object.h"

namespace qivm {

/// Writes reconstructed macroblocks into the client's bitmap. Shared by the threads of a frame:
/// Init and SetBuffer come before they start, ConvertMacroblock changes nothing in the converter.
class OutputConverter : public HeapObject {
 public:
  explicit OutputConverter(const KernelSet& kernels) : kernels_(kernels.output) {}
  virtual ~OutputConverter() = default;
  OutputConverter(const OutputConverter&) = delete;
  OutputConverter& operator=(const OutputConverter&) = delete;

  /// Takes the client's format for the frame that `sequence` describes. False when the format is
  /// not of this converter, its size is zero or below, the frame has another width in macroblocks,
  /// or its chroma_format is none. Only 4:2:2 pictures are written; those of the other formats
  /// leave the bitmap as it is. Without a sequence only the format is looked at, and the converter
  /// takes no buffer.
  bool Init(const BitmapInfoHeader& clientFormat, const PictureParameters* sequence);
  /// Where the next frame goes; not owned.
  void SetBuffer(void* pixels, LineOrder order = LineOrder::plain) {
    bitmap_.SetBuffer(pixels, order);
  }
  /// Whether macroblocks of this row are written anywhere.
  bool Shows(int row) const { return chosen_.frameDct != nullptr && bitmap_.Contains(0, row); }
  /// Writes the samples of one macroblock at the record's column and row. A macroblock that does
  /// not lie inside the bitmap is dropped.
  void ConvertMacroblock(const MacroblockRecord& record) const;

 protected:
  virtual bool Accepts(ClientFormat format) const = 0;

 private:
  std::array<OutputKernelPair, kClientFormats> kernels_;
  ClientBitmap bitmap_;
  OutputKernelPair chosen_;
};

class RgbOutputConverter final : public OutputConverter {
 public:
  using OutputConverter::OutputConverter;

 private:
  bool Accepts(ClientFormat format) const override { return IsRgb(format); }
};

class PackedYuvOutputConverter final : public OutputConverter {
 public:
  using OutputConverter::OutputConverter;

 private:
  bool Accepts(ClientFormat format) const override {
    return !IsRgb(format) && format != ClientFormat::y16a;
  }
};

}  // namespace qivm
