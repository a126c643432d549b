#pragma once

#include <cstdint>

namespace qivm {

// What AVI files are made of: RIFF chunks, and since OpenDML more than one RIFF segment a file.

/// The first word of every AVI.
inline constexpr char kRiffSignature[] = "RIFF";

inline constexpr std::uint32_t kChunkHeaderBytes = 8;
inline constexpr std::uint32_t kListTypeBytes = 4;

/// The index of an AVI's first segment ("idx1").
inline constexpr std::uint32_t kIndexEntryBytes = 16;
inline constexpr std::uint32_t kKeyFrameFlag = 0x10;  // AVIIF_KEYFRAME

/// The indexes of OpenDML ("indx", "ix00"): a header, then entries.
inline constexpr std::uint32_t kStandardIndexHeaderBytes = 24;
inline constexpr std::uint32_t kStandardIndexEntryBytes = 8;
inline constexpr std::uint32_t kSuperIndexEntryBytes = 16;
inline constexpr std::uint8_t kIndexOfIndexes = 0;
inline constexpr std::uint8_t kIndexOfChunks = 1;
/// Set in the size of an entry whose frame is no key frame.
inline constexpr std::uint32_t kDeltaFrameBit = 0x80000000;

/// Chunks begin at even positions.
constexpr std::uint64_t PaddedBytes(std::uint64_t bytes) { return (bytes + 1) / 2 * 2; }

}  // namespace qivm
