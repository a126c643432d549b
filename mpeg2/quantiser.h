#pragma once

#include <array>
#include <cstdint>

/// Quantiser weights and scales (ISO/IEC 13818-2, 6.3.11 and Table 7-6).
namespace qivm::mpeg2 {

/// The default intra quantiser matrix in raster order.
constexpr std::array<std::uint16_t, 64> kDefaultIntraMatrix = {
    8,  16, 19, 22, 26, 27, 29, 34,  //
    16, 16, 22, 24, 27, 29, 34, 37,  //
    19, 22, 26, 27, 29, 34, 34, 38,  //
    22, 22, 26, 27, 29, 34, 37, 40,  //
    22, 26, 27, 29, 32, 35, 40, 48,  //
    26, 27, 29, 32, 35, 40, 48, 58,  //
    26, 27, 29, 34, 38, 46, 56, 69,  //
    27, 29, 35, 38, 46, 56, 69, 83,
};

/// quantiser_scale by q_scale_type and quantiser_scale_code. Code 16 of the linear row is 22, not
/// the 32 of Table 7-6: this codec's streams have always been made and read that way.
constexpr std::array<std::array<std::uint8_t, 32>, 2> kQuantiserScale = {{
    {0,  2,  4,  6,  8,  10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30,
     22, 34, 36, 38, 40, 42, 44, 46, 48, 50, 52, 54, 56, 58, 60, 62},
    {0,  1,  2,  3,  4,  5,  6,  7,  8,  10, 12, 14, 16, 18, 20,  22,
     24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96, 104, 112},
}};

}  // namespace qivm::mpeg2
