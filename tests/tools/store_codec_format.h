#pragma once

#include <cstdint>

#include "tools/vfwtool/media/bytes.h"

namespace vfwtool {

// The test codec "STOR": it stores pictures as they are, so that everything around a codec can be
// tested exactly. The first byte of a picture can ask it for trouble.

/// The code under which the tests register it.
inline constexpr FourCc kStoreCode = "STOR"_fourcc;

/// The codec takes widths and heights that are multiples of this.
inline constexpr int kStoreSizeStep = 8;

/// A picture that begins with this byte cannot be compressed (ICERR_INTERNAL).
inline constexpr std::uint8_t kStoreFailByte = 0xEE;

/// A picture that begins with this byte becomes an empty frame.
inline constexpr std::uint8_t kStoreEmptyByte = 0xDD;

/// When a picture that begins with this byte has been compressed, the event below is set.
inline constexpr std::uint8_t kStoreSignalByte = 0xCC;
inline constexpr wchar_t kStoreCompressedEvent[] = L"vfwtool-test-compressed";

inline constexpr std::uint32_t kStoreDefaultQuality = 4321;

/// Set when the codec is asked to show its settings and its about box.
inline constexpr wchar_t kStoreConfigureEvent[] = L"vfwtool-test-configure";
inline constexpr wchar_t kStoreAboutEvent[] = L"vfwtool-test-about";

/// The stream format: a bitmap header, then the header of the stored pictures, then a pattern.
inline constexpr std::uint32_t kStoreFormatBytes = 252;
inline constexpr std::uint8_t kStorePatternByte = 0xA5;

/// Every frame begins with these; the picture follows.
struct StoreFrameHeader {
  std::uint32_t frameNumber;
  std::uint32_t quality;
};

}  // namespace vfwtool
