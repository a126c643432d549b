#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qivm {

// Numbers in the byte order of AVI files and bitmap headers.

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

inline void AppendLittleEndian16(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  bytes.push_back(static_cast<std::uint8_t>(value));
  bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}

inline void AppendLittleEndian32(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  AppendLittleEndian16(bytes, value & 0xFFFF);
  AppendLittleEndian16(bytes, value >> 16);
}

inline void AppendLittleEndian64(std::vector<std::uint8_t>& bytes, std::uint64_t value) {
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(value));
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(value >> 32));
}

}  // namespace qivm
