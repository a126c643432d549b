#pragma once

#include <windows.h>

#include <vfw.h>

#include <cstdint>
#include <span>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/pictures.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

constexpr DWORD kDefaultQuality = 8000;

/// An ICM_COMPRESS with all that its structure points to. The output has exactly the bytes that the
/// codec tells hosts to provide, up to an inaccessible page.
class CompressCall {
 public:
  explicit CompressCall(const BITMAPINFOHEADER& input, std::size_t outputOffset = 0);

  BITMAPINFOHEADER inputHeader;
  BITMAPINFOHEADER outputHeader;
  DWORD flags = 0;
  DWORD chunkId = 0x12345678;
  GuardedBuffer output;
  ICCOMPRESS request = {};

  LRESULT Send(const Instance& instance) {
    return instance.Send(ICM_COMPRESS, &request, sizeof(request));
  }
  /// The compressed frame; empty when none was written.
  std::vector<std::uint8_t> Frame() const;
};

/// An ICM_DECOMPRESS likewise; the input lies at inaccessible pages on both sides, as far as its
/// size lets it.
class DecompressCall {
 public:
  DecompressCall(const BITMAPINFOHEADER& output, std::span<const std::uint8_t> frame,
                 std::size_t offset = 0);

  BITMAPINFOHEADER inputHeader;
  BITMAPINFOHEADER outputHeader;
  GuardedBuffer input;
  GuardedBuffer output;
  ICDECOMPRESS request = {};

  LRESULT Send(const Instance& instance) {
    return instance.Send(ICM_DECOMPRESS, &request, sizeof(request));
  }
};

/// Whether two requests are the same in every field.
bool SameRequest(const ICCOMPRESS& a, const ICCOMPRESS& b);
bool SameRequest(const ICDECOMPRESS& a, const ICDECOMPRESS& b);

/// Begins compression or decompression between a bitmap format and the codec's own.
LRESULT BeginCompress(const Instance& instance, const BITMAPINFOHEADER& bitmap);
LRESULT BeginDecompress(const Instance& instance, const BITMAPINFOHEADER& bitmap);

/// Compresses one picture on a context that has begun.
std::vector<std::uint8_t> Compress(const Instance& instance, const BITMAPINFOHEADER& header,
                                   std::span<const std::uint8_t> picture,
                                   DWORD quality = kDefaultQuality);
/// Decompresses one frame, into a bitmap of zeros.
std::vector<std::uint8_t> Decompress(const Instance& instance, const BITMAPINFOHEADER& header,
                                     std::span<const std::uint8_t> frame);

/// A picture compressed by an instance of its own, for tests that need a stream.
std::vector<std::uint8_t> CompressAlone(const DriverModule& driver, const BITMAPINFOHEADER& header,
                                        std::span<const std::uint8_t> picture);

}  // namespace qivm::test
