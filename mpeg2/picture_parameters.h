#pragma once

#include <cstdint>

#include "mpeg2/start_codes.h"

namespace qivm {

/// Sequence- and picture-level settings of one frame, in either direction. Field names follow the
/// syntax elements of ISO/IEC 13818-2.
struct PictureParameters {
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  /// Whole frames a second.
  std::uint8_t frameRate = 0;
  std::uint8_t chromaFormat = 0;
  std::uint8_t intraDcPrecision = 0;
  std::uint8_t pictureStructure = 0;
  std::uint8_t framePredFrameDct = 0;
  std::uint8_t qScaleType = 0;
  std::uint8_t intraVlcFormat = 0;
  std::uint8_t alternateScan = 0;

  /// What each slice resets the DC predictors to (7.2.1).
  std::int16_t DcReset() const { return static_cast<std::int16_t>(128 << intraDcPrecision); }
  /// Macroblocks of a row and rows, whole ones alone.
  int MbPerRow() const { return width / 16; }
  int MbRows() const { return height / 16; }
  /// Whether each macroblock says how its luminance blocks are arranged (6.2.5.1).
  bool HasDctType() const {
    return pictureStructure == mpeg2::kFramePicture && framePredFrameDct == 0;
  }
};

}  // namespace qivm
