#include "tests/core/random_pictures.h"

#include <algorithm>

namespace qivm::test {

namespace {

Block RandomLevels(Random& random, int dc, bool wild) {
  Block levels = {};
  levels[0] = static_cast<std::int16_t>(dc);
  const std::uint32_t sparseness = 1 + random.Below(20);
  for (std::size_t i = 1; i < levels.size(); ++i) {
    if (random.OneIn(sparseness)) {
      const int bound = wild && random.OneIn(8) ? 2047 : 6;
      levels[i] = static_cast<std::int16_t>(random.Between(-bound, bound));
    }
  }
  return levels;
}

}  // namespace

ModelPicture RandomPicture(Random& random, int columns, int rows) {
  ModelPicture picture;
  picture.width = 16 * columns;
  picture.height = 16 * rows;
  picture.intraDcPrecision = random.Between(0, 3);
  picture.framePredFrameDct = random.OneIn(4) ? 1 : 0;
  picture.pictureStructure = picture.framePredFrameDct == 0 && random.OneIn(6) ? 2 : 3;
  picture.qScaleType = random.Between(0, 1);
  picture.alternateScan = random.Between(0, 1);
  const bool wild = random.OneIn(3);
  const int largestDc = (256 << picture.intraDcPrecision) - 1;
  for (int row = 0; row < rows; ++row) {
    ModelSlice& slice = picture.slices.emplace_back();
    slice.row = row;
    slice.quantiserCode = random.Between(1, 31);
    slice.intraSliceFlag = random.OneIn(2);
    if (slice.intraSliceFlag && random.OneIn(4)) {
      slice.extraInformation.resize(random.Below(6), 0x5A);
    }
    for (int column = 0; column < columns; ++column) {
      ModelMacroblock& macroblock = slice.macroblocks.emplace_back();
      macroblock.quantiserCode = random.OneIn(4) ? random.Between(1, 31) : 0;
      macroblock.fieldDct = picture.HasDctType() ? random.OneIn(2) : picture.framePredFrameDct == 0;
      const int around = random.Between(0, largestDc);
      for (int block = 0; block < picture.BlockCount(); ++block) {
        const int dc = wild ? random.Between(0, largestDc)
                            : std::clamp(around + random.Between(-20, 20), 0, largestDc);
        macroblock.blocks.push_back(RandomLevels(random, dc, wild));
      }
    }
  }
  return picture;
}

ModelPicture FlatPicture(int columns, int rows) {
  ModelPicture picture;
  picture.width = 16 * columns;
  picture.height = 16 * rows;
  for (int row = 0; row < rows; ++row) {
    ModelSlice& slice = picture.slices.emplace_back();
    slice.row = row;
    for (int column = 0; column < columns; ++column) {
      ModelMacroblock& macroblock = slice.macroblocks.emplace_back();
      macroblock.blocks.resize(8);
      for (Block& block : macroblock.blocks) {
        // The sample value is an eighth of this.
        block[0] = static_cast<std::int16_t>(8 * (40 + (7 * row + 13 * column) % 160));
      }
    }
  }
  return picture;
}

}  // namespace qivm::test
