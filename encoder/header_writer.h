#pragma once

#include <cstddef>

#include "encoder/bit_writer.h"

namespace qivm {

/// Bytes of everything that comes before a frame's first slice.
constexpr std::size_t kFrameHeaderBytes = 116;

/// Writes it (ISO/IEC 13818-2, 6.2.2 to 6.2.4), for pictures of the given size. docs/format.md
/// describes it.
void WriteFrameHeaders(BitWriter& writer, int width, int height);

}  // namespace qivm
