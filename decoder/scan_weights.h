#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"

namespace qivm {

/// The decoder's quantiser weights in raster order: the default intra matrix, whatever a stream
/// brings, but 1 for the DC coefficient, which the block decoders deliver already scaled.
constexpr std::array<std::uint16_t, 64> kDecoderMatrix = [] {
  std::array<std::uint16_t, 64> matrix = mpeg2::kDefaultIntraMatrix;
  matrix[0] = 1;
  return matrix;
}();

/// weight * quantiser_scale of the coefficients in transmission order.
using ScanWeights = std::array<std::uint16_t, 64>;

/// By q_scale_type, quantiser_scale_code and alternate_scan.
constexpr auto kScanWeights = [] {
  std::array<std::array<std::array<ScanWeights, 2>, 32>, 2> weights = {};
  for (std::size_t type = 0; type < 2; ++type) {
    for (std::size_t code = 0; code < 32; ++code) {
      for (std::size_t i = 0; i < 64; ++i) {
        const unsigned scale = mpeg2::kQuantiserScale[type][code];
        weights[type][code][0][i] =
            static_cast<std::uint16_t>(kDecoderMatrix[mpeg2::kZigzagScan[i]] * scale);
        weights[type][code][1][i] =
            static_cast<std::uint16_t>(kDecoderMatrix[mpeg2::kAlternateScan[i]] * scale);
      }
    }
  }
  return weights;
}();

}  // namespace qivm
