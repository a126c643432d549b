#pragma once

#include <cstddef>

#include "mpeg2/macroblock_record.h"

namespace qivm::kernels {

/// How a macroblock's luminance blocks share its 16 picture rows (6.1.3); the chrominance blocks
/// of a 4:2:2 macroblock follow the same arrangement.
enum class Arrangement {
  frame,  ///< blocks 0 and 1 on rows 0 to 7, blocks 2 and 3 on rows 8 to 15
  field,  ///< blocks 0 and 1 on the even rows, blocks 2 and 3 on the odd rows
};

/// One picture row of a 4:2:2 macroblock inside its coefficient array: eight samples at each
/// pointer. `Sample` is std::int16_t or const std::int16_t.
template <typename Sample>
struct SampleRow {
  Sample* luma[2];  // pixels 0 to 7 and 8 to 15
  Sample* cb;       // one sample for each pair of pixels
  Sample* cr;
};

/// Calls visit(pixelRow, sampleRow) for the 16 rows of a macroblock, first those of the upper
/// blocks, then those of the lower ones. `rowStep` is the distance from one picture row to the
/// next in the client's bitmap.
template <Arrangement kArrangement, typename Pixel, typename Sample, typename Visit>
void ForEachRow(Pixel* pixels, Sample* blocks, std::ptrdiff_t rowStep, Visit visit) {
  constexpr std::size_t kBlock = MacroblockRecord::kBlockSize;
  for (std::size_t half = 0; half < 2; ++half) {
    for (std::size_t line = 0; line < 8; ++line) {
      const std::size_t row =
          kArrangement == Arrangement::frame ? 8 * half + line : 2 * line + half;
      Sample* const luma = blocks + 2 * half * kBlock + 8 * line;
      Sample* const chroma = blocks + (4 + 2 * half) * kBlock + 8 * line;
      visit(pixels + static_cast<std::ptrdiff_t>(row) * rowStep,
            SampleRow<Sample>{{luma, luma + kBlock}, chroma, chroma + kBlock});
    }
  }
}

}  // namespace qivm::kernels
