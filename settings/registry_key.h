#pragma once

#include <windows.h>

#include <cstdint>
#include <initializer_list>

#include "settings/value_source.h"

namespace qivm {

/// An open key under HKEY_CLASSES_ROOT, where all of the codec's settings are, or none. Nothing
/// here reports errors: a key that cannot be opened or written is the caller's default case.
class RegistryKey final : public ValueSource {
 public:
  RegistryKey() = default;
  ~RegistryKey() { Close(); }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  /// Opens an existing key; false when that fails, no key is then open.
  bool Open(const char* path, REGSAM access);
  /// Opens a key or creates it in one call.
  bool OpenOrCreate(const char* path, REGSAM access);
  /// Opens or creates the keys named, each inside the one before, for writing. The last one stays
  /// open. False at the first that fails.
  bool CreateLevels(std::initializer_list<const char*> names);
  void Close();
  /// Deletes a key that has no keys inside; failure is ignored.
  static void Delete(const char* path);

  Result Read(const char* name, std::span<char> buffer) const override;
  bool WriteDword(const char* name, std::uint32_t value) const;
  /// Stores a NUL-terminated string with its NUL.
  bool WriteString(const char* name, const char* text) const;

 private:
  HKEY key_ = nullptr;
};

}  // namespace qivm
