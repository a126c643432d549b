#pragma once

#include <cstdint>

#include "mpeg2/start_codes.h"

/// What this codec's pictures are, among all that the syntax allows (ISO/IEC 13818-2, 6.2.3
/// to 6.3.10).
namespace qivm::stream_format {

/// The largest side that the headers can describe without extensions of the slice start code.
constexpr int kMaxSize = 2048;

constexpr std::uint32_t kFrameRateCode = 3;      // 25 frames a second
constexpr std::uint32_t kBitRateValue = 125000;  // 50 Mbit/s in units of 400 bit/s
constexpr std::uint32_t kVbvBufferSizeValue = 373;
constexpr std::uint32_t kAspectRatio4By3 = 2;
constexpr std::uint32_t kProfile422MainLevel = 0x85;
constexpr std::uint32_t kVideoFormatUnspecified = 5;
constexpr std::uint32_t kColourPrimaries = 5;          // ITU-R BT.470-2 System B, G
constexpr std::uint32_t kTransferCharacteristics = 5;  // likewise
constexpr std::uint32_t kMatrixCoefficients = 4;       // FCC
constexpr std::uint32_t kUnusedFCodes = 0xFFFF;        // all four, as for every I picture
constexpr std::uint32_t kVbvDelayUnspecified = 0xFFFF;

constexpr std::uint32_t kIntraDcPrecision = 3;  // 11 bits
constexpr std::uint32_t kFramePredFrameDct = 0;
constexpr std::uint8_t kQScaleType = 1;
constexpr std::uint32_t kIntraVlcFormat = 1;
constexpr std::uint32_t kAlternateScan = 0;
/// The first DC coefficient of a slice is coded against this (7.2.1).
constexpr std::int16_t kDcReset = 128 << kIntraDcPrecision;

/// dct_type of every macroblock: field DCT.
constexpr std::uint32_t kDctType = 1;

}  // namespace qivm::stream_format
