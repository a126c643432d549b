#pragma once

#include <windows.h>

#include "kernels/client_format.h"
#include "settings/codec_settings.h"

/// The messages by which a host and the codec agree on formats. Each takes the input's header and
/// the output's, or the buffer for it, either of them null where the host passed none, and returns
/// what the message returns: an ICERR_* code or a size in bytes.
namespace qivm {

/// ICM_COMPRESS_QUERY: whether the codec compresses such bitmaps, into such a format if one is
/// given. ICERR_OK or ICERR_BADFORMAT.
LRESULT CompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                      const BitmapInfoHeader* output);

/// ICM_COMPRESS_GET_FORMAT: fills the 252 bytes of a CompressedFormat, or returns their number.
LRESULT CompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                          void* output);

/// ICM_COMPRESS_GET_SIZE: the bytes a host has to have ready for every compressed frame.
LRESULT CompressGetSize(const BitmapInfoHeader* input);

/// ICM_DECOMPRESS_QUERY: whether the codec decompresses such streams, into such bitmaps if they are
/// given. ICERR_OK, ICERR_BADFORMAT, or ICERR_BADPARAM without an input.
LRESULT DecompressQuery(const CodecSettings& settings, const BitmapInfoHeader* input,
                        const BitmapInfoHeader* output);

/// ICM_DECOMPRESS_GET_FORMAT: fills a bitmap header with the format that every host understands,
/// 32-bit RGB, or returns the header's size.
LRESULT DecompressGetFormat(const CodecSettings& settings, const BitmapInfoHeader* input,
                            void* output);

}  // namespace qivm
