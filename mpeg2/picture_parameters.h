#pragma once

#include <array>
#include <cstdint>

namespace qivm {

/// Sequence- and picture-level settings of one frame, in either direction, together with what
/// changes from macroblock to macroblock. Nine 32-bit words; copied whole into every
/// MacroblockRecord so that kernels and converters see the settings of that very macroblock. Field
/// names follow the syntax elements of ISO/IEC 13818-2.
struct PictureParameters {
  /// Findings of the header parser in `flags`.
  static constexpr std::uint32_t kNotIntraPicture = 2;
  static constexpr std::uint32_t kSpatialScalable = 8;
  static constexpr std::uint32_t kTemporalScalable = 16;
  static constexpr std::uint32_t kNoChromaFormat = 32;

  std::uint32_t flags = 0;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  /// Whole frames a second (decoder) or frame_rate_code (encoder).
  std::uint32_t frameRate = 0;
  std::uint32_t bitRate = 0;
  std::uint8_t chromaFormat = 0;
  std::uint8_t pictureCodingType = 0;
  std::uint8_t intraDcPrecision = 0;
  std::uint8_t pictureStructure = 0;
  std::uint8_t framePredFrameDct = 0;
  /// Set per macroblock: 1 when its dct_type is 0 (frame DCT), 0 when dct_type is 1.
  std::uint8_t frameDct = 0;
  std::uint8_t qScaleType = 0;
  std::uint8_t intraVlcFormat = 0;
  std::uint8_t alternateScan = 0;
  /// 1 lengthens slice headers by the 7-bit priority_breakpoint. No header sets it.
  std::uint8_t dataPartitioning = 0;
  /// Of the current slice or macroblock.
  std::uint8_t quantiserScaleCode = 0;
  /// DC predictors of Y, Cb, Cr and the value that each slice resets them to (7.2.1).
  std::array<std::int16_t, 3> dcPredictor = {};
  std::int16_t dcReset = 0;

  int MbPerRow() const { return width / 16; }
  int MbRows() const { return height / 16; }
};
static_assert(sizeof(PictureParameters) == 36);

}  // namespace qivm
