#pragma once

#include <cstdint>
#include <span>

#include "tests/support/model_stream.h"

/// The codec a second time: whole pictures, one step after the other, without speed in mind.
namespace qivm::test {

/// The quantiser_scale_code of a quality from 0 to 10000.
int ModelQuantiserCode(std::uint32_t quality);

/// The picture that the codec makes of samples at a quantiser_scale_code.
ModelPicture ModelPictureOf(const Planes& planes, int quantiserCode);

enum class Parts : std::uint8_t { one, two };

/// The frame that the codec makes of a bitmap at a quantiser_scale_code, or the next coarser one
/// that fits three bytes a pixel. `usedCode`, if given, receives the code it was made with.
Bytes ModelEncode(ClientFormat format, int width, int height, std::span<const std::uint8_t> bitmap,
                  int quantiserCode, Parts parts, int* usedCode = nullptr);

/// The samples of one macroblock's blocks, raster order.
std::vector<Block> ModelReconstruct(const ModelPicture& picture, const ModelMacroblock& macroblock,
                                    int quantiserCode);

/// A client's bitmap to draw into.
struct Target {
  ClientFormat format;
  int width;
  int height;
  std::span<std::uint8_t> bitmap;
};

/// Draws one macroblock, unless it lies outside the bitmap or is not of a 4:2:2 picture.
void ModelDraw(const ModelPicture& picture, const ModelMacroblock& macroblock, int quantiserCode,
               int column, int row, const Target& target);

/// Draws a picture into a client's bitmap: each slice at its row; what lies outside is dropped and
/// what no slice covers is left as it is.
void ModelDecode(const ModelPicture& picture, ClientFormat format, int width, int height,
                 std::span<std::uint8_t> bitmap);

}  // namespace qivm::test
