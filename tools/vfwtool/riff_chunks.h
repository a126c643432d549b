#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/vfwtool/avi_layout.h"
#include "tools/vfwtool/four_cc.h"
#include "tools/vfwtool/little_endian.h"

namespace qivm {

// RIFF chunks put together in memory.

inline void AppendChunk(std::vector<std::uint8_t>& bytes, FourCc code,
                        std::span<const std::uint8_t> contents) {
  AppendLittleEndian32(bytes, code);
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(contents.size()));
  bytes.insert(bytes.end(), contents.begin(), contents.end());
  bytes.resize(static_cast<std::size_t>(PaddedBytes(bytes.size())));
}

inline void AppendList(std::vector<std::uint8_t>& bytes, FourCc type,
                       std::span<const std::uint8_t> contents) {
  AppendLittleEndian32(bytes, MakeFourCc("LIST"));
  AppendLittleEndian32(bytes, static_cast<std::uint32_t>(contents.size()) + kListTypeBytes);
  AppendLittleEndian32(bytes, type);
  bytes.insert(bytes.end(), contents.begin(), contents.end());
}

/// The beginning of a list whose contents come later; `listBytes` has its type counted in.
inline void AppendListHeader(std::vector<std::uint8_t>& bytes, FourCc code, std::uint32_t listBytes,
                             FourCc type) {
  AppendLittleEndian32(bytes, code);
  AppendLittleEndian32(bytes, listBytes);
  AppendLittleEndian32(bytes, type);
}

/// Room for a chunk of that size, its header included.
inline void AppendSpace(std::vector<std::uint8_t>& bytes, std::size_t space) {
  AppendChunk(bytes, MakeFourCc("JUNK"), std::vector<std::uint8_t>(space - kChunkHeaderBytes));
}

}  // namespace qivm
