#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qivm {

// MPEG-2 video elementary streams (ISO/IEC 13818-2) as units: a start code with what follows it.

/// The last byte of a start code (Table 6-1).
inline constexpr std::uint8_t kPictureCode = 0x00;
inline constexpr std::uint8_t kFirstSliceCode = 0x01;
inline constexpr std::uint8_t kLastSliceCode = 0xAF;
inline constexpr std::uint8_t kUserDataCode = 0xB2;
inline constexpr std::uint8_t kSequenceCode = 0xB3;
inline constexpr std::uint8_t kExtensionCode = 0xB5;
inline constexpr std::uint8_t kSequenceEndCode = 0xB7;
inline constexpr std::uint8_t kGroupCode = 0xB8;
inline constexpr std::uint8_t kFirstSystemCode = 0xB9;

inline constexpr std::size_t kStartCodeBytes = 4;

constexpr bool IsSliceCode(std::uint8_t code) {
  return code >= kFirstSliceCode && code <= kLastSliceCode;
}

/// The start code of that last byte.
std::vector<std::uint8_t> StartCode(std::uint8_t code);

/// One unit of a stream in memory.
struct MpegUnit {
  std::uint8_t code = 0;
  std::size_t begin = 0;  ///< Of the start code.
  std::size_t end = 0;    ///< Where the next unit begins; stuffing is counted in.
};

/// All units; what precedes the first start code belongs to none.
std::vector<MpegUnit> FindUnits(std::span<const std::uint8_t> stream);

/// Up to 32 bits of a unit, the first of them `position` bits behind its start code. Bits behind
/// the unit's end are zero.
std::uint32_t UnitBits(std::span<const std::uint8_t> unit, std::size_t position, unsigned count);

/// The number of bits of a slice's header (6.2.4), from behind its start code to the first bit of
/// its first macroblock.
std::size_t SliceHeaderBits(std::span<const std::uint8_t> slice);

}  // namespace qivm
