#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/four_cc.h"

namespace qivm {

constexpr std::size_t kMaxFourCCs = 16;
constexpr std::size_t kMaxApplications = 16;
constexpr std::size_t kApplicationNameBytes = 64;

/// The compressed formats that are accepted unless the settings say otherwise.
constexpr std::array<FourCC, kMaxFourCCs> kDefaultFourCCList = {kQivm, kMmes};

/// The settings record: 274 32-bit words, little-endian. One record is process-wide; every codec
/// instance has a copy, which is also its state blob.
struct CodecSettings {
  /// The codec's own code; in an instance the code it was opened under.
  FourCC handlerFourCC = kQivm;
  /// 1 exchanges the two fields of each frame, in both directions.
  std::uint32_t changeFieldsOrder = 0;
  /// Compressed formats that are accepted, upper-case; the list ends at the first zero.
  std::array<FourCC, kMaxFourCCs> fourCCList = {};
  /// File names of applications that are to work in full-screen mode, NUL-terminated; an entry
  /// whose first byte is zero is empty. Kept for the user; the codec does not act on it.
  std::array<std::array<char, kApplicationNameBytes>, kMaxApplications> applicationList = {};
};
static_assert(sizeof(CodecSettings) == 1096);

/// The record of this process. Changed only at attach and by the modal settings dialog.
CodecSettings& ProcessSettings();

/// Fills the process record from the registry. True when every value was there and valid; the
/// record is usable in any case.
bool LoadSettings();

/// Sets the process record to the defaults and rewrites the registry. Returns true.
bool ResetSettingsToDefaults();

/// Writes the process record into the registry keys, if they exist. Returns true.
bool SaveSettings();

}  // namespace qivm
