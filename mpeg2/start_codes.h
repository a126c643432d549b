#pragma once

#include <cstdint>

/// Start codes and extension identifiers (ISO/IEC 13818-2, 6.2.1 and Tables 6-1, 6-2).
namespace qivm::mpeg2 {

constexpr std::uint32_t kPictureStartCode = 0x00000100;
constexpr std::uint32_t kFirstSliceStartCode = 0x00000101;
constexpr std::uint32_t kLastSliceStartCode = 0x000001AF;
constexpr std::uint32_t kUserDataStartCode = 0x000001B2;
constexpr std::uint32_t kSequenceHeaderCode = 0x000001B3;
constexpr std::uint32_t kExtensionStartCode = 0x000001B5;
constexpr std::uint32_t kSequenceEndCode = 0x000001B7;
constexpr std::uint32_t kGroupStartCode = 0x000001B8;
constexpr std::uint32_t kFirstSystemStartCode = 0x000001B9;
constexpr std::size_t kStartCodeBytes = 4;

constexpr int kMacroblockSize = 16;
/// The highest picture whose macroblock rows all have a slice start code of their own.
constexpr int kMaxHeight =
    kMacroblockSize * static_cast<int>(kLastSliceStartCode - kFirstSliceStartCode + 1);

constexpr std::uint32_t kSequenceExtensionId = 1;
constexpr std::uint32_t kSequenceDisplayExtensionId = 2;
constexpr std::uint32_t kQuantMatrixExtensionId = 3;
constexpr std::uint32_t kSequenceScalableExtensionId = 5;
constexpr std::uint32_t kPictureCodingExtensionId = 8;

constexpr std::uint8_t kIntraPicture = 1;  // picture_coding_type
constexpr std::uint8_t kFramePicture = 3;  // picture_structure
constexpr std::uint8_t kChroma420 = 1;     // chroma_format
constexpr std::uint8_t kChroma422 = 2;
constexpr std::uint8_t kChroma444 = 3;

}  // namespace qivm::mpeg2
