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
  int quantiserCode = 0;
  bool frameDct = false;
  std::vector<Block> blocks;  // in scan order, the DC reconstructed

  bool operator==(const LenientMacroblock& other) const = default;
};

/// Reads macroblock after macroblock of a slice, from a place behind its header.
class LenientSlice {
 public:
  LenientSlice(const ModelPicture& picture, std::span<const std::uint8_t> slice,
               std::size_t bitPosition, int quantiserCode)
      : picture_(picture),
        cursor_(slice, bitPosition),
        quantiserCode_(quantiserCode),
        frameDct_(picture.framePredFrameDct != 0) {
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
