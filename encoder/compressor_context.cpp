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
    LayOut();
    if (frameBytes_ <= room) {
      break;
    }
    // No picture gets as far: at the coarsest code a block takes less than half of its share.
    if (code == kCoarsestQuantiserCode) {
      return FrameOutcome::doesNotFit;
    }
  }
  auto finish = [&] { FinishFrame(frame, frameBytes_); };
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
    SliceOf(row).bytes = encoders_[seat.Number()]->EncodeRow(*converter_, row, seat.Step(),
                                                             columns_, quantiser_, Slot(row));
  }
}

/// Decides where each row's slice goes in the frame and how many bytes that has: behind the
/// headers, the lower part at a multiple of 16 where there are two, and the end code behind all.
void CompressorContext::LayOut() {
  const int firstOfLowerPart = twoParts_ ? (rows_ + 1) / 2 : rows_ + 1;
  stuffing_ = {};
  std::size_t position = headers_.size();
  for (int row = 0; row <= rows_; ++row) {
    if (row == firstOfLowerPart) {
      stuffing_ = {position, -position % kPartAlignment};
      position += stuffing_.bytes;
    }
    if (row < rows_) {
      SliceOf(row).place = position;
      position += SliceOf(row).bytes;
    }
  }
  frameBytes_ = position + endCode_.size();
}

/// Writes the frame into the host's output, each thread the rows that it is likely to have coded.
/// False when a fault ended that. All pages are touched in order first: where the output is smaller
/// than promised that is the fault, and nothing is written behind it.
bool CompressorContext::Join(std::uint8_t* output) {
  output_ = output;
  joined_ = true;
  constexpr RowCrew::Work kCopyRows = [](void* self, RowCrew::Seat& seat) {
    static_cast<CompressorContext*>(self)->CopyRowsAt(seat);
  };
  auto begin = [&] {
    for (std::size_t place = 0; place < frameBytes_; place += platform::kPageBytes) {
      *static_cast<volatile std::uint8_t*>(output + place) = 0;
    }
    std::ranges::copy(headers_, output);
    std::fill_n(output + stuffing_.place, stuffing_.bytes, std::uint8_t{0});
    std::ranges::copy(endCode_, output + frameBytes_ - endCode_.size());
  };
  return platform::RunGuarded(begin) && crew_.Run(rows_, kCopyRows, this) && joined_;
}

void CompressorContext::CopyRowsAt(RowCrew::Seat& seat) {
  for (int row = seat.ClaimRow(); row != RowCrew::kNoRow; row = seat.ClaimRow()) {
    const Piece& slice = SliceOf(row);
    if (!FastCopy(output_ + slice.place, Slot(row).data(), slice.bytes)) {
      joined_ = false;
    }
  }
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
