#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kernels/client_format.h"

namespace vfwtool {

using Bytes = std::vector<std::uint8_t>;

/// A code of four characters as the AVI and bitmap headers hold it: the first character in the
/// lowest byte.
using FourCc = qivm::FourCC;

/// "YUY2"_fourcc
constexpr FourCc operator""_fourcc(const char* text, std::size_t /*length*/) {
  return qivm::MakeFourCC(text[0], text[1], text[2], text[3]);
}

/// The code that a user typed: one to four printable ASCII characters, padded with blanks.
/// Empty when `text` is anything else.
std::optional<FourCc> ParseFourCc(std::string_view text);

/// The four characters; a code with unprintable ones as a hexadecimal number ("0x00000001").
std::string FourCcText(FourCc code);

// Numbers in the byte order of RIFF files and bitmap headers.

inline std::uint16_t ReadLittleEndian16(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

inline std::uint32_t ReadLittleEndian32(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return ReadLittleEndian16(bytes, offset) | std::uint32_t{ReadLittleEndian16(bytes, offset + 2)}
                                                 << 16;
}

inline std::uint64_t ReadLittleEndian64(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return ReadLittleEndian32(bytes, offset) | std::uint64_t{ReadLittleEndian32(bytes, offset + 4)}
                                                 << 32;
}

inline void StoreLittleEndian32(std::span<std::uint8_t> bytes, std::size_t offset,
                                std::uint32_t value) {
  for (std::size_t i = 0; i < sizeof(value); ++i) {
    bytes[offset + i] = static_cast<std::uint8_t>(value >> 8 * i);
  }
}

inline void AppendLittleEndian16(Bytes& bytes, std::uint32_t value) {
  bytes.push_back(static_cast<std::uint8_t>(value));
  bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}

inline void AppendLittleEndian32(Bytes& bytes, std::uint32_t value) {
  AppendLittleEndian16(bytes, value & 0xFFFF);
  AppendLittleEndian16(bytes, value >> 16);
}

inline void AppendLittleEndian64(Bytes& bytes, std::uint64_t value) {
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(value));
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(value >> 32));
}

inline void AppendBytes(Bytes& bytes, std::span<const std::uint8_t> more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

}  // namespace vfwtool
