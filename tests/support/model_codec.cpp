#include "tests/support/model_codec.h"

#include "tests/support/reference_tables.h"

namespace qivm::test {

namespace {

/// Where sample (x, y) of a block lies in its 16x16 macroblock (luminance), or in its 8x16 one.
struct Place {
  Component component;
  int x;
  int y;
};

Place PlaceOf(std::size_t block, int x, int y, bool fieldDct) {
  const bool luma = block < 4;
  const int half = static_cast<int>(luma ? block / 2 : (block - 4) / 2);
  const int row = fieldDct ? 2 * y + half : 8 * half + y;
  if (luma) {
    return {Component::luma, x + 8 * static_cast<int>(block % 2), row};
  }
  return {block % 2 == 0 ? Component::cb : Component::cr, x, row};
}

/// The blocks of a macroblock in field arrangement, transformed but not quantised.
std::vector<Block> Coefficients(const Planes& planes, int column, int row) {
  std::vector<Block> blocks(8);
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) {
        const Place place = PlaceOf(index, x, y, true);
        const int left = (place.component == Component::luma ? 16 : 8) * column;
        blocks[index][static_cast<std::size_t>(8 * y + x)] =
            planes.At(place.component, left + place.x, 16 * row + place.y);
      }
    }
    ReferenceFdct(blocks[index]);
  }
  return blocks;
}

Block Levels(const Block& coefficients, int scale) {
  Block levels = coefficients;
  for (std::size_t i = 1; i < levels.size(); ++i) {
    levels[i] = ReferenceQuantise(coefficients[i], kReferenceMatrix[i], scale);
  }
  return ReferenceScanned(levels, kReferenceZigzag);
}

}  // namespace

int ModelQuantiserCode(std::uint32_t quality) {
  // One step of the code for every 500, down to 2 at 8000; 1 from 9000 on.
  if (quality >= 9000) {
    return 1;
  }
  return quality >= 8000 ? 2 : 18 - static_cast<int>(quality / 500);
}

ModelPicture ModelPictureOf(const Planes& planes, int quantiserCode) {
  ModelPicture picture;
  picture.width = planes.width;
  picture.height = planes.height;
  const int scale = ReferenceScale(picture.qScaleType, quantiserCode);
  for (int row = 0; row < picture.Rows(); ++row) {
    ModelSlice& slice = picture.slices.emplace_back();
    slice.row = row;
    slice.quantiserCode = quantiserCode;
    for (int column = 0; column < picture.Columns(); ++column) {
      ModelMacroblock& macroblock = slice.macroblocks.emplace_back();
      for (const Block& block : Coefficients(planes, column, row)) {
        macroblock.blocks.push_back(Levels(block, scale));
      }
    }
  }
  return picture;
}

Bytes ModelEncode(ClientFormat format, int width, int height, std::span<const std::uint8_t> bitmap,
                  int quantiserCode, Parts parts, int* usedCode) {
  const Planes planes = PlanesOf(format, width, height, bitmap);
  const std::size_t limit = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3;
  const int splitRow = (height / 16 + 1) / 2;
  for (int code = quantiserCode;; ++code) {
    Bytes stream = StreamOf(ModelPictureOf(planes, code), parts == Parts::two ? splitRow : -1);
    if (stream.size() <= limit || code == 31) {
      if (usedCode != nullptr) {
        *usedCode = code;
      }
      return stream;
    }
  }
}

std::vector<Block> ModelReconstruct(const ModelPicture& picture, const ModelMacroblock& macroblock,
                                    int quantiserCode) {
  const int scale = ReferenceScale(picture.qScaleType, quantiserCode);
  std::vector<Block> blocks;
  for (const Block& levels : macroblock.blocks) {
    Block block = ReferenceUnscanned(
        levels, picture.alternateScan != 0 ? kReferenceAlternate : kReferenceZigzag);
    block[0] = static_cast<std::int16_t>(block[0] * (1 << (3 - picture.intraDcPrecision)));
    for (std::size_t i = 1; i < block.size(); ++i) {
      block[i] = ReferenceDequantise(block[i], kReferenceMatrix[i], scale);
    }
    ReferenceIdct(block);
    blocks.push_back(block);
  }
  return blocks;
}

void ModelDraw(const ModelPicture& picture, const ModelMacroblock& macroblock, int quantiserCode,
               int column, int row, const Target& target) {
  const bool inside = 16 * column + 16 <= target.width && 16 * row + 16 <= target.height;
  if (!inside || picture.chromaFormat != 2) {
    return;
  }
  const std::vector<Block> blocks = ModelReconstruct(picture, macroblock, quantiserCode);
  Planes samples(16, 16);
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) {
        const Place place = PlaceOf(index, x, y, macroblock.fieldDct);
        samples.At(place.component, place.x, place.y) =
            blocks[index][static_cast<std::size_t>(8 * y + x)];
      }
    }
  }
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; x += 2) {
      StorePixelPair(target.format, target.width, target.height, target.bitmap, 16 * column + x,
                     16 * row + y, samples.At(Component::luma, x, y),
                     samples.At(Component::luma, x + 1, y), samples.At(Component::cb, x / 2, y),
                     samples.At(Component::cr, x / 2, y));
    }
  }
}

void ModelDecode(const ModelPicture& picture, ClientFormat format, int width, int height,
                 std::span<std::uint8_t> bitmap) {
  for (const ModelSlice& slice : picture.slices) {
    int quantiserCode = slice.quantiserCode;
    int column = 0;
    for (const ModelMacroblock& macroblock : slice.macroblocks) {
      if (macroblock.quantiserCode != 0) {
        quantiserCode = macroblock.quantiserCode;
      }
      ModelDraw(picture, macroblock, quantiserCode, column++, slice.row,
                {format, width, height, bitmap});
    }
  }
}

}  // namespace qivm::test
