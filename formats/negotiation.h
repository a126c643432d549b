#pragma once

#include <cstdint>

#include "kernels/client_format.h"
#include "settings/codec_settings.h"

/// The messages by which a host and the codec agree on formats. Each takes the input's header and
/// the output's, or the buffer for it, either of them null where the host passed none, and returns
/// what the message returns: a code of the Windows headers or a size in bytes.
namespace qivm {

constexpr std::int32_t kIcErrOk = 0;          // ICERR_OK
constexpr std::int32_t kIcErrBadFormat = -2;  // ICERR_BADFORMAT
constexpr std::int32_t kIcErrBadParam = -6;   // ICERR_BADPARAM

/// ICM_COMPRESS_QUERY: whether the codec compresses such bitmaps, into such a format if one is
/// given. kIcErrOk or kIcErrBadFormat.
std::int32_t CompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                           const BitmapInfoHeader* output);

/// ICM_COMPRESS_GET_FORMAT: fills the 252 bytes of a CompressedFormat, or returns their number.
std::int32_t CompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                               void* output);

/// ICM_COMPRESS_GET_SIZE: the bytes a host has to have ready for every compressed frame.
std::int32_t CompressGetSize(const BitmapInfoHeader* input);

/// ICM_DECOMPRESS_QUERY: whether the codec decompresses such streams, into such bitmaps if they are
/// given; only into RGB where the host takes nothing else. kIcErrOk, kIcErrBadFormat, or
/// kIcErrBadParam without an input.
std::int32_t DecompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                             const BitmapInfoHeader* output, bool isRgbOnlyHost);

/// ICM_DECOMPRESS_GET_FORMAT: fills a bitmap header with the format that every host understands,
/// 32-bit RGB, or returns the header's size.
std::int32_t DecompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                                 void* output);

}  // namespace qivm
