#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "tests/support/bit_string.h"
#include "tests/support/model_stream.h"

/// What the decoder promises to make of any bits, damaged ones included: nothing is an error.
namespace qivm::test {

/// The AC coefficients of one block. A code in no table, or a run past the end, ends the block.
void LenientAc(BitCursor& cursor, Block& block);

/// The difference that a DC size code and the bits behind it stand for.
int LenientDcDifference(BitCursor& cursor, Component component);

/// One macroblock as the decoder hands it on.
struct LenientMacroblock {
  bool withQuant = false;
  int quantiserCode = 0;
  bool frameDct = false;
  std::vector<Block> blocks;  // in scan order, the DC reconstructed
};

/// Reads macroblock after macroblock from a place in a slice.
class LenientSlice {
 public:
  LenientSlice(const ModelPicture& picture, std::span<const std::uint8_t> frame,
               std::size_t bitPosition, int quantiserCode, bool frameDctBefore)
      : picture_(picture),
        cursor_(frame, bitPosition),
        quantiserCode_(quantiserCode),
        frameDct_(frameDctBefore) {
    predictors_.fill(static_cast<std::int16_t>(picture.DcReset()));
  }
  LenientMacroblock Next();

 private:
  const ModelPicture& picture_;
  BitCursor cursor_;
  int quantiserCode_;
  bool frameDct_;
  std::array<std::int16_t, 3> predictors_ = {};
};

}  // namespace qivm::test
