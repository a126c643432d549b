#include "decoder/decompressor_context.h"

#include <algorithm>
#include <cstdint>

namespace qivm {

bool DecompressorContext::Begin(const BitmapInfoHeader& outputFormat, const Processor& processor) {
  End();
  kernels_ = KernelsFor(processor.tier);
  if (outputFormat.biCompression == kBiRgb) {
    converter_.reset(new RgbOutputConverter(kernels_));
  } else {
    converter_.reset(new PackedYuvOutputConverter(kernels_));
  }
  if (converter_ == nullptr || !converter_->Init(outputFormat, nullptr)) {
    return false;
  }
  outputFormat_ = outputFormat;
  const unsigned threads =
      std::min(processor.ThreadsFor(outputFormat.biWidth / 16, outputFormat.biHeight / 16),
               RowCrew::kMaxSeats);
  unsigned seats = 0;
  for (; seats < threads; ++seats) {
    decoders_[seats].reset(new RowDecoder(kernels_));
    if (decoders_[seats] == nullptr) {
      break;
    }
  }
  crew_.Start(seats);
  return seats > 0;
}

void DecompressorContext::End() {
  crew_.Stop();
  for (std::unique_ptr<RowDecoder>& decoder : decoders_) {
    decoder.reset();
  }
  converter_.reset();
}

FrameOutcome DecompressorContext::DecodeFrame(const DecompressFrame& frame) {
  return Decode(frame, LineOrder::plain);
}

FrameOutcome DecompressorContext::DecodeFrameShifted(const DecompressFrame& frame) {
  return Decode(frame, LineOrder::shifted);
}

FrameOutcome DecompressorContext::Decode(const DecompressFrame& frame, LineOrder order) {
  // The host's headers may be as unreadable as its buffers.
  std::optional<FrameOutcome> ended;
  auto prepare = [&] { ended = Prepare(frame, order); };
  if (!platform::RunGuarded(prepare)) {
    return FrameOutcome::faulted;
  }
  if (ended) {
    return *ended;
  }
  constexpr RowCrew::Work kDecodeRows = [](void* self, RowCrew::Seat& seat) {
    auto& context = *static_cast<DecompressorContext*>(self);
    context.decoders_[seat.Number()]->DecodeRows(context.frame_, *context.converter_, seat);
  };
  auto finish = [&] { FinishFrame(*frame.outputFormat); };
  const bool sound = crew_.Run(DecodedRows(), kDecodeRows, this) && platform::RunGuarded(finish);
  return sound ? FrameOutcome::done : FrameOutcome::faulted;
}

/// Whether the frame is one of what was begun. An empty one is whatever it comes with.
bool DecompressorContext::Accepts(const DecompressFrame& frame) const {
  if (frame.inputFormat == nullptr) {
    return false;
  }
  return frame.inputFormat->biSizeImage == 0 ||
         (frame.input != nullptr && frame.output != nullptr && frame.outputFormat != nullptr &&
          SamePixels(*frame.outputFormat, outputFormat_));
}

/// Reads what stands before the rows and finds them. What becomes of the frame, when there is
/// nothing to decode.
std::optional<FrameOutcome> DecompressorContext::Prepare(const DecompressFrame& frame,
                                                         LineOrder order) {
  if (!Accepts(frame)) {
    return FrameOutcome::refused;
  }
  // No frame has 2 GB, and 32-bit code could not tell how far apart its bytes are.
  const std::span bytes(static_cast<const std::uint8_t*>(frame.input),
                        std::min<std::size_t>(frame.inputFormat->biSizeImage, PTRDIFF_MAX));
  if (bytes.empty() || !headers_.ParsePictureHeaders(bytes) ||
      !converter_->Init(outputFormat_, &headers_.Parameters())) {
    return FrameOutcome::done;
  }
  frame_.parameters = headers_.Parameters();
  const int rows = frame_.parameters.MbRows();
  frame_.index.Find(bytes, headers_.EndOfHeaders(), rows, kernels_.findStartCode, crew_);
  if (frame_.parameters.intraVlcFormat != 1 && frame_.index.Found() > 0 && rows > 0) {
    RejectTableZero();
  }
  const bool shown = order == LineOrder::plain || frame_.index.Found() >= rows;
  converter_->SetBuffer(shown ? frame.output : nullptr, order);
  return std::nullopt;
}

/// Table B-14 is not offered. The frame must not go on with wrong coefficients: the fault leaves it
/// through the guard around it.
void DecompressorContext::RejectTableZero() {
  platform::DebugText("USING TABLE ZERO\n");
  platform::RaiseFault();
}

int DecompressorContext::DecodedRows() const {
  return std::min(frame_.parameters.MbRows(), SliceIndex::kMaxRows);
}

void DecompressorContext::FinishFrame(BitmapInfoHeader& outputFormat) {
  outputFormat.biSize = sizeof(BitmapInfoHeader);
  outputFormat.biPlanes = 1;
  outputFormat.biClrUsed = 0;
  outputFormat.biClrImportant = 0;
}

}  // namespace qivm
