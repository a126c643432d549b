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

  /// The DC predictor of a block's component: Y, then Cb and Cr in turn.
  std::int16_t& PredictorOf(int block) {
    return dcPredictor[block < 4 ? 0U : 1U + static_cast<unsigned>(block) % 2];
  }

  /// Moves the predictor of a block's component by a differential and returns the block's DC
  /// coefficient (7.2.1). Sums are kept to 16 bits.
  std::int16_t NextDc(int block, int differential) {
    std::int16_t& predictor = PredictorOf(block);
    predictor = static_cast<std::int16_t>(predictor + differential);
    return static_cast<std::int16_t>(predictor * (1 << (3 - intraDcPrecision)));
  }

  /// The other way: the differential of a block whose DC coefficient is `value`, rounded to the
  /// DC precision, to its predictor, which moves on.
  int DcDifference(int block, int value) {
    std::int16_t& predictor = PredictorOf(block);
    const int dropped = 3 - intraDcPrecision;
    const int dc = dropped == 0 ? value : (value + (1 << (dropped - 1))) >> dropped;
    const int difference = dc - predictor;
    predictor = static_cast<std::int16_t>(dc);
    return difference;
  }

  int MbPerRow() const { return width / 16; }
  int MbRows() const { return height / 16; }
};
static_assert(sizeof(PictureParameters) == 36);

}  // namespace qivm
