#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/vfwtool/clip.h"

namespace qivm {

/// What the headers of a compressed frame say: of its sequence, its last picture and its slices.
struct MpegHeaders {
  bool hasSequence = false;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  FrameRate rate;
  bool isMpeg2 = false;  ///< There is a sequence extension; without one it is MPEG-1.
  std::uint32_t chromaFormat = 0;
  bool isScalable = false;
  /// A quantiser matrix for intra blocks is loaded that is not the default one.
  bool hasOwnMatrix = false;

  std::uint32_t pictures = 0;
  bool areAllIntra = true;
  bool hasPictureExtension = false;
  std::uint32_t structure = 0;  ///< 1 top field, 2 bottom field, 3 frame.
  std::uint32_t dcBits = 0;
  bool usesTableB15 = false;
  bool isNonLinear = false;  ///< The quantiser scale.
  bool isAlternateScan = false;
  bool isTopFieldFirst = false;

  std::uint32_t slices = 0;
  bool hasOneSliceARow = true;          ///< So far: each slice is one row below the one before.
  bool doSlicesBeginLeft = true;        ///< Their first macroblocks are in the first column.
  std::uint32_t smallestQuantiser = 0;  ///< quantiser_scale_code of the slices.
  std::uint32_t largestQuantiser = 0;
  bool usesLinearCode16 = false;

  /// "4:2:2".
  std::string ChromaText() const;
};

/// Reads the headers of one compressed frame.
MpegHeaders ReadMpegHeaders(std::span<const std::uint8_t> frame);

/// The rate that frame_rate_code stands for (Table 6-4), and the other way round; 0 where there is
/// none.
FrameRate RateOfCode(std::uint32_t frameRateCode);
std::uint32_t CodeOfRate(const FrameRate& rate);

}  // namespace qivm
