#pragma once

#include <windows.h>

#include <vfw.h>

#include <cstdint>
#include <memory>

#include "decoder/decompressor_context.h"
#include "driver/library_reference.h"
#include "encoder/compressor_context.h"
#include "platform/heap_object.h"
#include "settings/codec_settings.h"

namespace qivm {

/// One open of the codec; its address is the driver id. It holds a copy of the settings as they
/// were when it was opened, the quality, and at most one context of each direction. Used by one
/// caller at a time. The handlers answer the messages they are named after and return what these
/// return; the messages of the format negotiation are answered from Settings() alone.
class CodecInstance : public HeapObject {
 public:
  /// `handler` is the code under which the host opens the codec.
  explicit CodecInstance(FourCC handler);
  virtual ~CodecInstance();
  CodecInstance(const CodecInstance&) = delete;
  CodecInstance& operator=(const CodecInstance&) = delete;

  CodecSettings& Settings() { return settings_; }

  /// Fills the 568 bytes of an ICINFO.
  LRESULT GetInfo(ICINFO* info, LPARAM size) const;
  /// The state is the settings record, 1096 bytes.
  LRESULT GetState(void* state, LPARAM size) const;
  /// Takes the state from 1096 bytes, whatever `size` says, if they begin with this instance's
  /// code; without a state, takes over the settings of the process.
  LRESULT SetState(const void* state, LPARAM size);
  static LRESULT GetDefaultQuality(DWORD* quality);
  LRESULT GetQuality(DWORD* quality) const;
  LRESULT SetQuality(const DWORD* quality);

  LRESULT CompressBegin(const BitmapInfoHeader* input, const BitmapInfoHeader* output);
  LRESULT Compress(const ICCOMPRESS* request, LPARAM size);
  LRESULT CompressEnd();

  LRESULT DecompressBegin(const BitmapInfoHeader* input, const BitmapInfoHeader* output);
  LRESULT Decompress(const ICDECOMPRESS* request, LPARAM size);
  LRESULT DecompressEnd();

 private:
  void LetLibraryGoWithoutContexts();
  FrameOutcome CompressFrameOf(const ICCOMPRESS& request);
  FrameOutcome DecompressFrameOf(const ICDECOMPRESS& request);

  CodecSettings settings_;
  std::uint32_t quality_ = kInitialQuality;
  LibraryReference library_;  // held while a context is open
  std::unique_ptr<DecompressorContext> decompressor_;
  std::unique_ptr<CompressorContext> compressor_;
};

}  // namespace qivm
