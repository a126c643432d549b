#include "settings/codec_settings.h"

#include <windows.h>

#include "settings/registry_key.h"
#include "settings/settings_reader.h"
#include "settings/value_names.h"

namespace qivm {

namespace {

constexpr char kCodecKey[] = "Software\\Norvane\\MPEG2 codec";
constexpr char kBoardKey[] = "Software\\Pellaro\\Meridel\\Codec";

constinit CodecSettings g_processSettings = {};

constexpr CodecSettings kDefaults = {
    .fourCCList = kDefaultFourCCList,
    .applicationList = {{{"PREMIERE.EXE"}, {"CLIPWRK.EXE"}}},
};

void WriteCodecValues(const RegistryKey& key, const CodecSettings& settings) {
  key.WriteDword(kFieldsOrderValue, settings.changeFieldsOrder);
  std::uint32_t count = 0;
  for (const FourCC code : settings.fourCCList) {
    if (code != 0) {
      key.WriteDword(ValueName::Decimal(kFourCCPrefix, ++count).Text(), code);
    }
  }
  key.WriteDword(kFourCCCountValue, count);
}

void WriteApplicationValues(const RegistryKey& key, const CodecSettings& settings) {
  std::uint32_t count = 0;
  for (const auto& application : settings.applicationList) {
    if (application.front() != '\0') {
      key.WriteString(ValueName::Decimal(kApplicationPrefix, ++count).Text(), application.data());
    }
  }
  key.WriteDword(kApplicationCountValue, count);
}

}  // namespace

CodecSettings& ProcessSettings() { return g_processSettings; }

bool LoadSettings() {
  g_processSettings = {};
  RegistryKey codecKey;
  RegistryKey boardKey;
  return codecKey.Open(kCodecKey, KEY_READ) && ReadCodecValues(codecKey, g_processSettings) &&
         boardKey.Open(kBoardKey, KEY_READ) && ReadApplicationValues(boardKey, g_processSettings);
}

bool ResetSettingsToDefaults() {
  g_processSettings = kDefaults;
  RegistryKey::Delete(kCodecKey);
  RegistryKey codecKey;
  RegistryKey boardKey;
  if (codecKey.CreateLevels({"Software", "Norvane", "MPEG2 codec"})) {
    WriteCodecValues(codecKey, g_processSettings);
    // The board's key is shared with other software and is added to, never emptied.
    if (boardKey.CreateLevels({"Software", "Pellaro", "Meridel", "Codec"})) {
      WriteApplicationValues(boardKey, g_processSettings);
    }
  }
  return true;
}

bool SaveSettings() {
  RegistryKey codecKey;
  RegistryKey boardKey;
  if (codecKey.Open(kCodecKey, KEY_WRITE)) {
    WriteCodecValues(codecKey, g_processSettings);
    if (boardKey.Open(kBoardKey, KEY_WRITE)) {
      WriteApplicationValues(boardKey, g_processSettings);
    }
  }
  return true;
}

}  // namespace qivm
