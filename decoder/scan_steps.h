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

/// Where a coefficient goes, by its place in transmission order, and weight * quantiser_scale.
struct ScanStep {
  std::int32_t weight = 0;
  std::uint32_t position = 0;  // in raster order
};
/// By place in transmission order; the one behind the last is of no weight and at the DC
/// coefficient's position, for what an end of block leaves to be stored.
using ScanSteps = std::array<ScanStep, std::tuple_size_v<mpeg2::Scan> + 1>;

constexpr ScanSteps MakeScanSteps(const mpeg2::Scan& scan, unsigned scale) {
  ScanSteps steps = {};
  for (std::size_t i = 0; i < scan.size(); ++i) {
    steps[i] = {static_cast<std::int32_t>(kDecoderMatrix[scan[i]] * scale), scan[i]};
  }
  return steps;
}

/// By q_scale_type, quantiser_scale_code and alternate_scan.
constexpr auto kScanSteps = [] {
  std::array<std::array<std::array<ScanSteps, 2>, 32>, 2> steps = {};
  for (std::size_t type = 0; type < 2; ++type) {
    for (std::size_t code = 0; code < 32; ++code) {
      const unsigned scale = mpeg2::kQuantiserScale[type][code];
      steps[type][code] = {MakeScanSteps(mpeg2::kZigzagScan, scale),
                           MakeScanSteps(mpeg2::kAlternateScan, scale)};
    }
  }
  return steps;
}();

}  // namespace qivm
