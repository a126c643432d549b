#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The tables of ISO/IEC 13818-2 that intra pictures need, written down a second time and in
/// another form than the codec's own, so that a slip in either shows.
namespace qivm::test {

/// Scan index of every raster position: the matrices of Figures 7-2 and 7-3.
extern const std::array<std::uint8_t, 64> kReferenceZigzag;
extern const std::array<std::uint8_t, 64> kReferenceAlternate;

/// The default intra quantiser matrix (6.3.11), raster order.
extern const std::array<std::uint8_t, 64> kReferenceMatrix;

/// quantiser_scale of a quantiser_scale_code, 1 to 31 (Table 7-6). The codec's linear scale has 22
/// at code 16.
int ReferenceScale(int qScaleType, int code);

/// dct_dc_size codes by size (Tables B-12 and B-13).
extern const std::array<std::string_view, 12> kReferenceDcLuma;
extern const std::array<std::string_view, 12> kReferenceDcChroma;

constexpr std::string_view kReferenceEndOfBlock = "0110";
constexpr std::string_view kReferenceEscape = "000001";

/// One code of Table B-15 without its sign bit.
struct ReferenceRunLevel {
  unsigned length;
  std::uint32_t bits;
  int run;
  int level;
};

/// Table B-15 by length, then by value of the codes.
extern const std::array<ReferenceRunLevel, 111> kReferenceRunLevels;

/// The code of a run and an absolute level; null when these take an escape.
const ReferenceRunLevel* FindRunLevel(int run, int level);

}  // namespace qivm::test
