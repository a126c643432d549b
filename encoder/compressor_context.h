#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "encoder/block_encoder.h"
#include "encoder/quality.h"
#include "kernels/client_format.h"
#include "kernels/input_converter.h"
#include "kernels/processor.h"
#include "kernels/transform_tables.h"
#include "mpeg2/macroblock_record.h"
#include "platform/heap_object.h"
#include "platform/worker_thread.h"

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
/// inside a frame a worker codes the lower half when the machine has a second processor.
class CompressorContext : public HeapObject {
 public:
  static constexpr std::uint32_t kKeyFrame = 0x10;  // AVIIF_KEYFRAME of the Windows headers

  CompressorContext() = default;
  virtual ~CompressorContext() { End(); }
  CompressorContext(const CompressorContext&) = delete;
  CompressorContext& operator=(const CompressorContext&) = delete;

  /// Allocates all that the frames need; false when that fails, when a side of the output format
  /// is not a positive multiple of 16 up to 2048, or when the input format is not one of the
  /// codec's. Without a worker thread the calling thread codes alone.
  bool Begin(const BitmapInfoHeader& outputFormat, const BitmapInfoHeader& inputFormat,
             const Processor& processor);

  /// The quality of frames that ask for kDefaultQualityRequest, 0 to 10000.
  void SetQuality(std::uint32_t quality) { quality_ = quality; }

  /// Codes one frame and fills in its size and the key-frame flag. A frame that would outgrow its
  /// output is coded with the next coarser quantiser until it fits. False when a fault ended the
  /// frame; its size and flags are then not written. Allocates nothing; when it returns, nothing
  /// of the codec touches the host's buffers.
  bool EncodeFrame(const CompressFrame& frame);

  /// As EncodeFrame with the picture moved up by one line, the first line at the bottom: this
  /// exchanges the two fields.
  bool EncodeFrameShifted(const CompressFrame& frame);

  /// Stops the worker and releases everything; Begin may follow.
  void End();

  bool HasWorker() const { return worker_.Running(); }

 private:
  enum class Outcome { completed, outputFull, faulted };

  struct ThreadState {
    std::unique_ptr<MacroblockRecord> record;
    std::unique_ptr<BlockEncoder> encoder;

    bool Create(const BitmapInfoHeader& format, const Processor& processor);
    void Release();
    void SetRows(int first, int end) const;
  };

  void StartWorker(const BitmapInfoHeader& outputFormat, const Processor& processor);
  bool Encode(const CompressFrame& frame, const void* pixels);
  Outcome EncodeAt(std::uint8_t quantiserCode, const void* pixels, std::span<std::uint8_t> output);
  void EncodeThreadRows(ThreadState& state) const;
  void CheckFrame(const CompressFrame& frame) const;
  void CopyShifted(const void* input);

  HeapBuffer scratchInput_;  // what EncodeFrameShifted codes from
  HeapBuffer workerOutput_;  // the worker's half of the stream, joined to the host's output
  ThreadState main_;
  ThreadState lower_;  // the worker's
  std::unique_ptr<EncoderTransformTable> kernels_;
  std::unique_ptr<InputConverter> converter_;
  WorkerThread worker_;
  BitmapInfoHeader inputFormat_;
  std::uint32_t quality_ = kInitialQuality;
};

}  // namespace qivm
