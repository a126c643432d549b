#include "encoder/compressor_context.h"

#include <algorithm>

#include "encoder/stream_format.h"
#include "kernels/fast_copy.h"

namespace qivm {

namespace {

/// Where the lower part of a frame in two parts begins.
constexpr std::size_t kPartAlignment = 16;

bool SizeOk(int side) { return side > 0 && side % 16 == 0 && side <= stream_format::kMaxSize; }

}  // namespace

bool CompressorContext::Begin(const BitmapInfoHeader& outputFormat,
                              const BitmapInfoHeader& inputFormat, const Processor& processor) {
  End();
  if (!SizeOk(outputFormat.biWidth) || !SizeOk(outputFormat.biHeight) ||
      inputFormat.biWidth != outputFormat.biWidth ||
      inputFormat.biHeight != outputFormat.biHeight) {
    return false;
  }
  const KernelSet kernels = KernelsFor(processor.tier);
  if (inputFormat.biCompression == kBiRgb) {
    converter_.reset(new RgbInputConverter(kernels));
  } else {
    converter_.reset(new PackedYuvInputConverter(kernels));
  }
  inputFormat_ = inputFormat;
  columns_ = outputFormat.biWidth / 16;
  rows_ = outputFormat.biHeight / 16;
  // Whether threads could be made or not: a machine's frames are always the same.
  twoParts_ = processor.count > 1;
  slotBytes_ = RowEncoder::LargestSlice(static_cast<std::size_t>(columns_));
  if (converter_ == nullptr || !converter_->Init(inputFormat) ||
      !slots_.Allocate(slotBytes_ * static_cast<std::size_t>(rows_))) {
    return false;
  }
  BitWriter writer(headers_);
  WriteFrameHeaders(writer, outputFormat.biWidth, outputFormat.biHeight);
  BitWriter(endCode_).WriteSequenceEnd();

  const unsigned threads = std::min(processor.ThreadsFor(columns_, rows_), RowCrew::kMaxSeats);
  unsigned seats = 0;
  for (; seats < threads; ++seats) {
    encoders_[seats].reset(new RowEncoder(kernels));
    if (encoders_[seats] == nullptr) {
      break;
    }
  }
  crew_.Start(seats);
  return seats > 0;
}

void CompressorContext::End() {
  crew_.Stop();
  for (std::unique_ptr<RowEncoder>& encoder : encoders_) {
    encoder.reset();
  }
  slots_.Release();
  converter_.reset();
}

FrameOutcome CompressorContext::EncodeFrame(const CompressFrame& frame) {
  return Encode(frame, LineOrder::plain);
}

FrameOutcome CompressorContext::EncodeFrameShifted(const CompressFrame& frame) {
  return Encode(frame, LineOrder::shifted);
}

/// A frame in another format than the begun one would be read beyond its end.
bool CompressorContext::Accepts(const CompressFrame& frame) const {
  return frame.inputFormat != nullptr && frame.input != nullptr && frame.outputFormat != nullptr &&
         frame.output != nullptr && SamePixels(*frame.inputFormat, inputFormat_);
}

FrameOutcome CompressorContext::Encode(const CompressFrame& frame, LineOrder order) {
  // The host's headers may be as unreadable as its buffers.
  bool accepted = false;
  auto accept = [&] { accepted = Accepts(frame); };
  if (!platform::RunGuarded(accept)) {
    return FrameOutcome::faulted;
  }
  if (!accepted) {
    return FrameOutcome::refused;
  }
  converter_->SetBuffer(frame.input, order);
  const std::uint32_t quality = frame.quality == kDefaultQualityRequest ? quality_ : frame.quality;
  std::uint8_t code = QuantiserCodeOfQuality(quality);
  const auto room = static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_) * 256 * 3;
  for (;; ++code) {
    if (!EncodeRows(code)) {
      return FrameOutcome::faulted;
    }
    if (FrameBytes() <= room) {
      break;
    }
    // No picture gets as far: at the coarsest code a block takes less than half of its share.
    if (code == kCoarsestQuantiserCode) {
      return FrameOutcome::doesNotFit;
    }
  }
  auto finish = [&] { FinishFrame(frame, FrameBytes()); };
  return Join(static_cast<std::uint8_t*>(frame.output)) && platform::RunGuarded(finish)
             ? FrameOutcome::done
             : FrameOutcome::faulted;
}

/// Codes all rows into their slots. False when a fault ended one.
bool CompressorContext::EncodeRows(std::uint8_t quantiserScaleCode) {
  if (quantiser_.scaleCode != quantiserScaleCode) {
    quantiser_ = FrameQuantiser(quantiserScaleCode);
  }
  constexpr RowCrew::Work kEncodeRows = [](void* self, RowCrew::Seat& seat) {
    static_cast<CompressorContext*>(self)->EncodeRowsAt(seat);
  };
  return crew_.Run(rows_, kEncodeRows, this);
}

void CompressorContext::EncodeRowsAt(RowCrew::Seat& seat) {
  for (int row = seat.ClaimRow(); row != RowCrew::kNoRow; row = seat.ClaimRow()) {
    sliceBytes_[static_cast<std::size_t>(row)] = encoders_[seat.Number()]->EncodeRow(
        *converter_, row, seat.Step(), columns_, quantiser_, Slot(row));
  }
}

/// Calls visit(slice) for each row's slice and for the zero bytes between the parts, in the order
/// of the stream.
template <typename Visit>
void CompressorContext::ForEachPiece(Visit visit) const {
  static constexpr std::array<std::uint8_t, kPartAlignment> kZeros = {};
  const int firstOfLowerPart = twoParts_ ? (rows_ + 1) / 2 : rows_ + 1;
  std::size_t position = headers_.size();
  visit(std::span<const std::uint8_t>(headers_));
  for (int row = 0; row <= rows_; ++row) {
    if (row == firstOfLowerPart) {
      const std::size_t gap = -position % kPartAlignment;
      visit(std::span(kZeros).first(gap));
      position += gap;
    }
    if (row < rows_) {
      const auto slice = Slot(row).first(sliceBytes_[static_cast<std::size_t>(row)]);
      visit(std::span<const std::uint8_t>(slice));
      position += slice.size();
    }
  }
  visit(std::span<const std::uint8_t>(endCode_));
}

std::size_t CompressorContext::FrameBytes() const {
  std::size_t bytes = 0;
  ForEachPiece([&bytes](std::span<const std::uint8_t> piece) { bytes += piece.size(); });
  return bytes;
}

/// Writes the frame into the host's output. False when a fault ended that.
bool CompressorContext::Join(std::uint8_t* output) const {
  bool sound = true;
  ForEachPiece([&](std::span<const std::uint8_t> piece) {
    sound = sound && FastCopy(output, piece.data(), piece.size());
    output += piece.size();
  });
  return sound;
}

void CompressorContext::FinishFrame(const CompressFrame& frame, std::size_t size) {
  std::uint32_t flags = 0;
  if (frame.flags != nullptr) {
    // Where their address leads nowhere, this must show before the header is changed.
    volatile std::uint32_t& place = *frame.flags;
    flags = place;
    place = flags;
  }
  BitmapInfoHeader& header = *frame.outputFormat;
  header.biSizeImage = static_cast<std::uint32_t>(size);
  header.biPlanes = 1;
  header.biClrUsed = 0;
  header.biClrImportant = 0;
  if (frame.flags != nullptr) {
    *frame.flags = flags | kKeyFrame;
  }
}

}  // namespace qivm
