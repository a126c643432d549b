#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "decoder/header_parser.h"
#include "decoder/row_decoder.h"
#include "kernels/client_format.h"
#include "kernels/output_converter.h"
#include "kernels/processor.h"
#include "mpeg2/frame_outcome.h"
#include "platform/heap_object.h"
#include "platform/row_crew.h"

namespace qivm {

/// One frame to decompress: the compressed bytes, `inputFormat.biSizeImage` of them, and the
/// client's bitmap. All is the host's; only the bitmap and the output header are written.
struct DecompressFrame {
  const BitmapInfoHeader* inputFormat = nullptr;
  const void* input = nullptr;
  BitmapInfoHeader* outputFormat = nullptr;
  void* output = nullptr;
};

/// All that decompressing a stream needs from begin to end. Calls come from one thread at a time;
/// inside a frame a crew of threads shares the rows. What a frame yields does not depend on how
/// many they are.
class DecompressorContext : public HeapObject {
 public:
  DecompressorContext() = default;
  virtual ~DecompressorContext() { End(); }
  DecompressorContext(const DecompressorContext&) = delete;
  DecompressorContext& operator=(const DecompressorContext&) = delete;

  /// Allocates all that the frames need; false when that fails, or for a format that is none of
  /// ClientFormat or of no size. Threads that cannot be made are done without.
  bool Begin(const BitmapInfoHeader& outputFormat, const Processor& processor);

  /// Decodes one frame into its bitmap. What the frame has no slice for, and the bitmap of a frame
  /// that ends within its headers, stays as it was. Allocates nothing; when it returns, nothing of
  /// the codec touches the host's buffers.
  FrameOutcome DecodeFrame(const DecompressFrame& frame);

  /// As DecodeFrame with the picture moved down by one line, the last line on top: this exchanges
  /// the two fields. A frame with fewer slices than rows leaves the whole bitmap as it was.
  FrameOutcome DecodeFrameShifted(const DecompressFrame& frame);

  /// Stops the helper threads and releases everything; Begin may follow.
  void End();

  /// Threads that work on a frame, the calling one among them.
  unsigned Threads() const { return crew_.Seats(); }

 private:
  bool Accepts(const DecompressFrame& frame) const;
  FrameOutcome Decode(const DecompressFrame& frame, LineOrder order);
  std::optional<FrameOutcome> Prepare(const DecompressFrame& frame, LineOrder order);
  int DecodedRows() const;
  static void RejectTableZero();
  static void FinishFrame(BitmapInfoHeader& outputFormat);

  BitmapInfoHeader outputFormat_;
  KernelSet kernels_;
  HeaderParser headers_;
  std::unique_ptr<OutputConverter> converter_;
  std::array<std::unique_ptr<RowDecoder>, RowCrew::kMaxSeats> decoders_;
  RowCrew crew_;
  FrameRows frame_;
};

}  // namespace qivm
