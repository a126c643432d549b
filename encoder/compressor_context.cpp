#include "encoder/compressor_context.h"

#include <cstring>

#include "encoder/picture_encoding.h"

namespace qivm {

bool CompressorContext::ThreadState::Create(const BitmapInfoHeader& format,
                                            const Processor& processor) {
  record.reset(new MacroblockRecord);
  encoder.reset(new BlockEncoder(processor));
  return record != nullptr && encoder != nullptr && encoder->Init(format.biWidth, format.biHeight);
}

void CompressorContext::ThreadState::Release() {
  record.reset();
  encoder.reset();
}

void CompressorContext::ThreadState::SetRows(int first, int end) const {
  record->parameters = encoder->Parameters();
  record->mbPerRow = record->parameters.MbPerRow();
  record->rowCounter = first;
  record->rowEnd = end;
}

bool CompressorContext::Begin(const BitmapInfoHeader& outputFormat,
                              const BitmapInfoHeader& inputFormat, const Processor& processor) {
  End();
  if (!main_.Create(outputFormat, processor)) {
    return false;
  }
  kernels_.reset(new EncoderTransformTable);
  if (kernels_ == nullptr || !kernels_->Setup(processor)) {
    return false;
  }
  if (inputFormat.biCompression == kBiRgb) {
    converter_.reset(new RgbInputConverter(processor));
  } else {
    converter_.reset(new PackedYuvInputConverter(processor));
  }
  if (converter_ == nullptr || !converter_->Init(inputFormat) ||
      inputFormat.biWidth != outputFormat.biWidth ||
      inputFormat.biHeight != outputFormat.biHeight ||
      !scratchInput_.Allocate(converter_->Bitmap().Bytes())) {
    return false;
  }
  inputFormat_ = inputFormat;
  StartWorker(outputFormat, processor);
  return true;
}

void CompressorContext::StartWorker(const BitmapInfoHeader& outputFormat,
                                    const Processor& processor) {
  constexpr WorkerThread::Job kEncodeLowerRows = [](void* self) {
    auto& context = *static_cast<CompressorContext*>(self);
    context.EncodeThreadRows(context.lower_);
    context.lower_.encoder->Writer().WriteSequenceEnd();
  };
  // Room for the worst that the lower half can be, so that the worker is never short of it.
  const auto columns = static_cast<std::size_t>(outputFormat.biWidth / 16);
  const auto rows = static_cast<std::size_t>(outputFormat.biHeight / 16);
  const std::size_t rowBytes =
      columns * BlockEncoder::kMaxMacroblockBytes + BlockEncoder::kMaxSliceHeaderBytes;
  constexpr std::size_t kEndBytes = 8;
  if (processor.count <= 1 || !lower_.Create(outputFormat, processor) ||
      !workerOutput_.Allocate(rows / 2 * rowBytes + kEndBytes) ||
      !worker_.Start(kEncodeLowerRows, this)) {
    lower_.Release();
    workerOutput_.Release();
  }
}

void CompressorContext::End() {
  worker_.Stop();
  scratchInput_.Release();
  workerOutput_.Release();
  main_.Release();
  lower_.Release();
  kernels_.reset();
  converter_.reset();
}

bool CompressorContext::EncodeFrame(const CompressFrame& frame) {
  auto check = [&] { CheckFrame(frame); };
  return platform::RunGuarded(check) && Encode(frame, frame.input);
}

bool CompressorContext::EncodeFrameShifted(const CompressFrame& frame) {
  auto copy = [&] {
    CheckFrame(frame);
    CopyShifted(frame.input);
  };
  return platform::RunGuarded(copy) && Encode(frame, scratchInput_.Bytes().data());
}

void CompressorContext::CheckFrame(const CompressFrame& frame) const {
  if (frame.inputFormat == nullptr || frame.input == nullptr || frame.outputFormat == nullptr ||
      frame.output == nullptr) {
    platform::RaiseFault();
  }
  // A frame in another format than the begun one would be read beyond its end.
  const BitmapInfoHeader& input = *frame.inputFormat;
  if (input.biWidth != inputFormat_.biWidth || input.biHeight != inputFormat_.biHeight ||
      input.biBitCount != inputFormat_.biBitCount ||
      input.biCompression != inputFormat_.biCompression) {
    platform::RaiseFault();
  }
}

void CompressorContext::CopyShifted(const void* input) {
  const std::size_t bytes = converter_->Bitmap().Bytes();
  const std::size_t line = converter_->Bitmap().RowBytes();
  const auto* const source = static_cast<const std::uint8_t*>(input);
  std::uint8_t* const scratch = scratchInput_.Bytes().data();
  if (inputFormat_.biCompression == kBiRgb) {
    std::memcpy(scratch, source + bytes - line, line);
    std::memcpy(scratch + line, source, bytes - line);
  } else {
    std::memcpy(scratch, source + line, bytes - line);
    std::memcpy(scratch + bytes - line, source, line);
  }
}

bool CompressorContext::Encode(const CompressFrame& frame, const void* pixels) {
  const std::uint32_t quality = frame.quality == kDefaultQualityRequest ? quality_ : frame.quality;
  const PictureParameters& parameters = main_.encoder->Parameters();
  const std::span<std::uint8_t> output(
      static_cast<std::uint8_t*>(frame.output),
      static_cast<std::size_t>(parameters.width) * parameters.height * 3);

  std::uint8_t quantiserCode = QuantiserCodeOfQuality(quality);
  Outcome outcome = EncodeAt(quantiserCode, pixels, output);
  while (outcome == Outcome::outputFull && quantiserCode < kCoarsestQuantiserCode) {
    outcome = EncodeAt(++quantiserCode, pixels, output);
  }
  if (outcome != Outcome::completed) {
    return false;
  }
  BitmapInfoHeader& header = *frame.outputFormat;
  header.biSizeImage = static_cast<std::uint32_t>(main_.encoder->Writer().BytesWritten());
  header.biPlanes = 1;
  header.biClrUsed = 0;
  header.biClrImportant = 0;
  if (frame.flags != nullptr) {
    *frame.flags |= kKeyFrame;
  }
  return true;
}

CompressorContext::Outcome CompressorContext::EncodeAt(std::uint8_t quantiserCode,
                                                       const void* pixels,
                                                       std::span<std::uint8_t> output) {
  converter_->SetBuffer(pixels);
  BitWriter& writer = main_.encoder->Writer();
  const int rows = main_.encoder->Parameters().MbRows();
  const bool split = worker_.Running();
  const int splitRow = split ? (rows + 1) / 2 : rows;

  main_.encoder->StartFrame(output, quantiserCode);
  main_.SetRows(0, splitRow);
  if (split) {
    lower_.encoder->StartFrame(workerOutput_.Bytes(), quantiserCode);
    lower_.SetRows(splitRow, rows);
    worker_.Begin();
  }
  auto encodeUpper = [this] {
    main_.encoder->WriteHeaders();
    EncodeThreadRows(main_);
  };
  // The worker is waited for whatever becomes of the calling thread's rows, so that it never reads
  // a frame that the host believes finished.
  const bool mainSound = platform::RunGuarded(encodeUpper);
  const bool lowerSound = !split || worker_.Wait();
  if (!mainSound || !lowerSound) {
    return Outcome::faulted;
  }
  auto finish = [&] {
    if (split) {
      writer.Join(lower_.encoder->Writer());
    } else {
      writer.WriteSequenceEnd();
    }
  };
  if (!platform::RunGuarded(finish)) {
    return Outcome::faulted;
  }
  return writer.Overflowed() ? Outcome::outputFull : Outcome::completed;
}

void CompressorContext::EncodeThreadRows(ThreadState& state) const {
  EncodeRows(*state.encoder, *state.record, *kernels_, *converter_);
}

}  // namespace qivm
