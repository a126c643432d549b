#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "decoder/picture_decoder.h"
#include "kernels/client_format.h"
#include "kernels/output_converter.h"
#include "kernels/processor.h"
#include "kernels/transform_tables.h"
#include "mpeg2/macroblock_record.h"
#include "platform/heap_object.h"
#include "platform/worker_thread.h"

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
/// inside a frame a worker decodes the lower part when the machine has a second processor.
class DecompressorContext : public HeapObject {
 public:
  DecompressorContext() = default;
  virtual ~DecompressorContext() { End(); }
  DecompressorContext(const DecompressorContext&) = delete;
  DecompressorContext& operator=(const DecompressorContext&) = delete;

  /// Allocates all that the frames need; false when that fails or the format's size is zero or
  /// below. Without a worker thread, for lack of processors or of resources, the calling thread
  /// decodes alone.
  bool Begin(const BitmapInfoHeader& outputFormat, const Processor& processor);

  /// Decodes one frame into its bitmap. A frame that ends early or that the output format refuses
  /// leaves the rest of the bitmap as it was. False when a fault ended the frame. Allocates
  /// nothing; when it returns, nothing of the codec touches the host's buffers.
  bool DecodeFrame(const DecompressFrame& frame);

  /// As DecodeFrame with the picture moved down by one line, the last line on top: this exchanges
  /// the two fields. A frame that is not decoded to its end leaves the whole bitmap as it was.
  bool DecodeFrameShifted(const DecompressFrame& frame);

  /// Stops the worker and releases everything; Begin may follow.
  void End();

  bool HasWorker() const { return worker_.Running(); }

 private:
  enum class Outcome { completed, ended, faulted };

  struct ThreadState {
    std::unique_ptr<MacroblockRecord> record;
    std::unique_ptr<PictureDecoder> decoder;
    bool rowsCompleted = false;

    bool Create(CpuClass cpuClass);
    void Release();
  };

  void StartWorker(const Processor& processor);
  Outcome DecodeInto(const DecompressFrame& frame, void* pixels);
  bool Prepare(const DecompressFrame& frame, void* pixels);
  bool SplitRows();
  void DecodeThreadRows(ThreadState& state) const;
  static void FinishFrame(BitmapInfoHeader& outputFormat);

  HeapBuffer frameBuffer_;  // what DecodeFrameShifted decodes into
  ThreadState main_;
  ThreadState lower_;  // the worker's
  std::unique_ptr<DecoderTransformTable> kernels_;
  std::unique_ptr<OutputConverter> converter_;
  WorkerThread worker_;
};

}  // namespace qivm
