#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "encoder/header_writer.h"
#include "encoder/quality.h"
#include "encoder/row_encoder.h"
#include "encoder/stream_format.h"
#include "kernels/client_format.h"
#include "kernels/input_converter.h"
#include "kernels/processor.h"
#include "mpeg2/frame_outcome.h"
#include "platform/heap_object.h"
#include "platform/row_crew.h"

namespace qivm {

/// One frame to compress. All is the host's; the output (width x height x 3 bytes of the begun
/// format), the output header and the flags are written.
struct CompressFrame {
  BitmapInfoHeader* outputFormat = nullptr;
  void* output = nullptr;
  const BitmapInfoHeader* inputFormat = nullptr;
  const void* input = nullptr;
  std::uint32_t* flags = nullptr;  // may be null
  std::uint32_t quality = kDefaultQualityRequest;
};

/// All that compressing a stream needs from begin to end. Calls come from one thread at a time;
/// inside a frame a crew of threads shares the rows. The bytes of a frame do not depend on how many
/// they are: what a machine with several processors writes differs from what one with a single
/// processor does by the zero bytes before the middle slice alone (before the end code, where there
/// is one slice).
class CompressorContext : public HeapObject {
 public:
  static constexpr std::uint32_t kKeyFrame = 0x10;  // AVIIF_KEYFRAME of the Windows headers

  CompressorContext() = default;
  virtual ~CompressorContext() { End(); }
  CompressorContext(const CompressorContext&) = delete;
  CompressorContext& operator=(const CompressorContext&) = delete;

  /// Allocates all that the frames need; false when that fails, when a side of the output format
  /// is not a positive multiple of 16 up to 2048, or when the input format is not one of the
  /// codec's. Threads that cannot be made are done without.
  bool Begin(const BitmapInfoHeader& outputFormat, const BitmapInfoHeader& inputFormat,
             const Processor& processor);

  /// The quality of frames that ask for kDefaultQualityRequest, 0 to 10000.
  void SetQuality(std::uint32_t quality) { quality_ = quality; }

  /// Codes one frame and fills in its size and the key-frame flag, unless it is refused, a fault
  /// ends it, or it does not fit its output. A frame that would outgrow its output is coded with
  /// the next coarser quantiser until it fits. Allocates nothing; when it returns, nothing of the
  /// codec touches the host's buffers.
  FrameOutcome EncodeFrame(const CompressFrame& frame);

  /// As EncodeFrame with the picture moved up by one line, the first line at the bottom: this
  /// exchanges the two fields.
  FrameOutcome EncodeFrameShifted(const CompressFrame& frame);

  /// Stops the helper threads and releases everything; Begin may follow.
  void End();

  /// Threads that work on a frame, the calling one among them.
  unsigned Threads() const { return crew_.Seats(); }

 private:
  bool Accepts(const CompressFrame& frame) const;
  FrameOutcome Encode(const CompressFrame& frame, LineOrder order);
  bool EncodeRows(std::uint8_t quantiserScaleCode);
  void EncodeRowsAt(RowCrew::Seat& seat);
  void LayOut();
  bool Join(std::uint8_t* output);
  void CopyRowsAt(RowCrew::Seat& seat);
  static void FinishFrame(const CompressFrame& frame, std::size_t size);

  std::span<std::uint8_t> Slot(int row) const {
    return slots_.Bytes().subspan(static_cast<std::size_t>(row) * slotBytes_, slotBytes_);
  }

  /// Bytes of the frame.
  struct Piece {
    std::size_t place = 0;
    std::size_t bytes = 0;
  };
  Piece& SliceOf(int row) { return slices_[static_cast<std::size_t>(row)]; }

  BitmapInfoHeader inputFormat_;
  int columns_ = 0;
  int rows_ = 0;
  bool twoParts_ = false;
  std::uint32_t quality_ = kInitialQuality;

  std::array<std::uint8_t, kFrameHeaderBytes> headers_ = {};
  std::array<std::uint8_t, 4> endCode_ = {};
  std::unique_ptr<InputConverter> converter_;
  std::array<std::unique_ptr<RowEncoder>, RowCrew::kMaxSeats> encoders_;
  RowCrew crew_;

  HeapBuffer slots_;  // a slice's worth for every row
  std::size_t slotBytes_ = 0;

  // Of the frame at hand.
  FrameQuantiser quantiser_{QuantiserCodeOfQuality(kInitialQuality)};
  std::array<Piece, stream_format::kMaxSize / 16> slices_ = {};
  Piece stuffing_;
  std::size_t frameBytes_ = 0;
  std::uint8_t* output_ = nullptr;
  std::atomic<bool> joined_ = false;
};

}  // namespace qivm
