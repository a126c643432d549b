#include "decoder/decompressor_context.h"

#include "decoder/picture_reconstruction.h"
#include "decoder/scan_steps.h"
#include "kernels/client_bitmap.h"
#include "kernels/fast_copy.h"

namespace qivm {

namespace {

/// More than any stream's pictures can take in the widest format. Without a bound a 64-bit system
/// looks for room for an absurd size a long time before it refuses.
constexpr std::size_t kLargestFrameBytes = 0x7FFFFFFF;

}  // namespace

bool DecompressorContext::ThreadState::Create(CpuClass cpuClass) {
  record.reset(new MacroblockRecord);
  decoder.reset(new PictureDecoder(cpuClass));
  if (record == nullptr || decoder == nullptr) {
    return false;
  }
  record->intraMatrixLuma = kDecoderMatrix;
  record->intraMatrixChroma = kDecoderMatrix;
  return true;
}

void DecompressorContext::ThreadState::Release() {
  record.reset();
  decoder.reset();
}

bool DecompressorContext::Begin(const BitmapInfoHeader& outputFormat, const Processor& processor) {
  End();
  BitmapInfoHeader largest = outputFormat;
  largest.biBitCount = 32;
  ClientBitmap bitmap;
  if (!bitmap.SetFormat(largest) || bitmap.Bytes() > kLargestFrameBytes ||
      !frameBuffer_.Allocate(bitmap.Bytes()) || !main_.Create(processor.cpuClass)) {
    return false;
  }
  kernels_.reset(new DecoderTransformTable);
  if (kernels_ == nullptr || !kernels_->Setup(processor)) {
    return false;
  }
  if (outputFormat.biCompression == kBiRgb) {
    converter_.reset(new RgbOutputConverter(processor));
  } else {
    converter_.reset(new PackedYuvOutputConverter(processor));
  }
  if (converter_ == nullptr || !converter_->Init(outputFormat, nullptr)) {
    return false;
  }
  StartWorker(processor);
  return true;
}

void DecompressorContext::StartWorker(const Processor& processor) {
  constexpr WorkerThread::Job kDecodeLowerRows = [](void* self) {
    auto& context = *static_cast<DecompressorContext*>(self);
    context.DecodeThreadRows(context.lower_);
  };
  if (processor.count <= 1 || !lower_.Create(processor.cpuClass) ||
      !worker_.Start(kDecodeLowerRows, this)) {
    lower_.Release();
  }
}

void DecompressorContext::End() {
  worker_.Stop();
  frameBuffer_.Release();
  main_.Release();
  lower_.Release();
  kernels_.reset();
  converter_.reset();
}

bool DecompressorContext::DecodeFrame(const DecompressFrame& frame) {
  return DecodeInto(frame, frame.output) != Outcome::faulted;
}

bool DecompressorContext::DecodeFrameShifted(const DecompressFrame& frame) {
  if (frame.outputFormat == nullptr) {
    return false;
  }
  ClientBitmap bitmap;
  if (!bitmap.SetFormat(*frame.outputFormat) || bitmap.Bytes() > frameBuffer_.Bytes().size()) {
    return true;
  }
  const std::uint8_t* const decoded = frameBuffer_.Bytes().data();
  const Outcome outcome = DecodeInto(frame, frameBuffer_.Bytes().data());
  if (outcome != Outcome::completed) {
    return outcome != Outcome::faulted;
  }
  auto* const client = static_cast<std::uint8_t*>(frame.output);
  const std::size_t line = bitmap.RowBytes();
  const std::size_t lastLine = bitmap.Bytes() - line;
  if (frame.outputFormat->biCompression == kBiRgb) {
    FastCopy(client, decoded + line, lastLine);
    FastCopy(client + lastLine, decoded, line);
  } else {
    FastCopy(client + line, decoded, lastLine);
    FastCopy(client, decoded + lastLine, line);
  }
  return true;
}

DecompressorContext::Outcome DecompressorContext::DecodeInto(const DecompressFrame& frame,
                                                             void* pixels) {
  main_.rowsCompleted = false;
  bool prepared = false;
  bool split = false;
  auto prepare = [&] {
    prepared = Prepare(frame, pixels);
    split = prepared && SplitRows();
  };
  if (!platform::RunGuarded(prepare)) {
    return Outcome::faulted;
  }
  if (!prepared) {
    return Outcome::ended;
  }

  // The worker is waited for whatever becomes of the calling thread's rows, so that it never works
  // on a frame that the host believes finished.
  if (split) {
    worker_.Begin();
  }
  auto decodeRows = [this] { DecodeThreadRows(main_); };
  const bool mainSound = platform::RunGuarded(decodeRows);
  const bool lowerSound = !split || worker_.Wait();
  if (!mainSound || !lowerSound) {
    return Outcome::faulted;
  }
  FinishFrame(*frame.outputFormat);
  return main_.rowsCompleted && (!split || lower_.rowsCompleted) ? Outcome::completed
                                                                 : Outcome::ended;
}

bool DecompressorContext::Prepare(const DecompressFrame& frame, void* pixels) {
  if (frame.inputFormat == nullptr) {
    platform::RaiseFault();
  }
  const std::size_t size = frame.inputFormat->biSizeImage;
  if (size == 0) {
    return false;
  }
  if (frame.input == nullptr || frame.outputFormat == nullptr || frame.output == nullptr) {
    platform::RaiseFault();
  }
  MacroblockRecord& record = *main_.record;
  main_.decoder->Attach({static_cast<const std::uint8_t*>(frame.input), size});
  if (!main_.decoder->ParsePictureHeaders(record) ||
      !converter_->Init(*frame.outputFormat, &record.parameters)) {
    return false;
  }
  converter_->SetBuffer(pixels);
  record.mbPerRow = record.parameters.MbPerRow();
  record.rowCounter = 0;
  record.rowEnd = record.parameters.MbRows();
  return true;
}

bool DecompressorContext::SplitRows() {
  if (!worker_.Running()) {
    return false;
  }
  MacroblockRecord& upper = *main_.record;
  const int rows = upper.rowEnd;
  // By bytes, not by rows: that balances the work when rows differ in size.
  const int splitRow = lower_.decoder->ParseSliceHeaderAt(*main_.decoder);
  if (splitRow < 1 || splitRow >= rows) {
    return false;
  }
  MacroblockRecord& lower = *lower_.record;
  lower.blockCount = upper.blockCount;
  lower.intraMatrixLuma = upper.intraMatrixLuma;
  lower.intraMatrixChroma = upper.intraMatrixChroma;
  lower.mbPerRow = upper.mbPerRow;
  lower.rowCounter = splitRow;
  lower.rowEnd = rows;
  lower_.rowsCompleted = false;
  upper.rowEnd = splitRow;
  return true;
}

void DecompressorContext::DecodeThreadRows(ThreadState& state) const {
  state.rowsCompleted = DecodeRows(*state.decoder, *state.record, *kernels_, *converter_);
}

void DecompressorContext::FinishFrame(BitmapInfoHeader& outputFormat) {
  outputFormat.biSize = sizeof(BitmapInfoHeader);
  outputFormat.biPlanes = 1;
  outputFormat.biClrUsed = 0;
  outputFormat.biClrImportant = 0;
}

}  // namespace qivm
