#pragma once

#include "kernels/client_bitmap.h"
#include "kernels/kernel_set.h"
#include "platform/heap_object.h"

namespace qivm {

/// Fetches macroblocks from the client's bitmap, always in field arrangement. Shared by the threads
/// of a frame: Init and SetBuffer come before they start, ConvertMacroblock changes nothing in the
/// converter.
class InputConverter : public HeapObject {
 public:
  explicit InputConverter(const KernelSet& kernels) : kernels_(kernels.input) {}
  virtual ~InputConverter() = default;
  InputConverter(const InputConverter&) = delete;
  InputConverter& operator=(const InputConverter&) = delete;

  /// Takes the client's format. False when it is not of this converter or its size is zero or
  /// below.
  bool Init(const BitmapInfoHeader& clientFormat);
  /// Where the next frame is; only read, not owned.
  void SetBuffer(const void* pixels, LineOrder order = LineOrder::plain);
  /// Fills the record's eight blocks with the samples at its column and row, which must lie inside
  /// the bitmap.
  void ConvertMacroblock(MacroblockRecord& record) const;
  /// Has the pixels of a macroblock brought nearer when it lies inside the bitmap.
  void Prefetch(int column, int row) const { bitmap_.Prefetch(column, row); }

 protected:
  virtual bool Accepts(ClientFormat format) const = 0;

 private:
  std::array<InputKernel, kClientFormats> kernels_;
  ClientBitmap bitmap_;
  InputKernel fieldDct_ = nullptr;
};

class RgbInputConverter final : public InputConverter {
 public:
  using InputConverter::InputConverter;

 private:
  bool Accepts(ClientFormat format) const override { return IsRgb(format); }
};

class PackedYuvInputConverter final : public InputConverter {
 public:
  using InputConverter::InputConverter;

 private:
  bool Accepts(ClientFormat format) const override { return !IsRgb(format); }
};

}  // namespace qivm
