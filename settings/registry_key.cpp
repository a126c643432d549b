#include "settings/registry_key.h"

#include <cstring>
#include <utility>

namespace qivm {

namespace {

HKEY CreateInside(HKEY parent, const char* name, REGSAM access) {
  HKEY key = nullptr;
  const LSTATUS status = RegCreateKeyExA(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                         nullptr, &key, nullptr);
  return status == ERROR_SUCCESS ? key : nullptr;
}

}  // namespace

bool RegistryKey::Open(const char* path, REGSAM access) {
  Close();
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, access, &key) != ERROR_SUCCESS) {
    return false;
  }
  key_ = key;
  return true;
}

bool RegistryKey::OpenOrCreate(const char* path, REGSAM access) {
  if (!Open(path, access)) {
    key_ = CreateInside(HKEY_CLASSES_ROOT, path, access);
  }
  return key_ != nullptr;
}

bool RegistryKey::CreateLevels(std::initializer_list<const char*> names) {
  Close();
  for (const char* const name : names) {
    HKEY const inner = CreateInside(key_ != nullptr ? key_ : HKEY_CLASSES_ROOT, name, KEY_WRITE);
    Close();
    if (inner == nullptr) {
      return false;
    }
    key_ = inner;
  }
  return true;
}

void RegistryKey::Close() {
  if (key_ != nullptr) {
    RegCloseKey(std::exchange(key_, nullptr));
  }
}

void RegistryKey::Delete(const char* path) { RegDeleteKeyA(HKEY_CLASSES_ROOT, path); }

ValueSource::Result RegistryKey::Read(const char* name, std::span<char> buffer) const {
  DWORD type = REG_NONE;
  auto size = static_cast<DWORD>(buffer.size());
  const LSTATUS status =
      RegQueryValueExA(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size);
  return {status == ERROR_SUCCESS, static_cast<ValueType>(type), size};
}

bool RegistryKey::WriteDword(const char* name, std::uint32_t value) const {
  return RegSetValueExA(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                        sizeof(value)) == ERROR_SUCCESS;
}

bool RegistryKey::WriteString(const char* name, const char* text) const {
  const auto size = static_cast<DWORD>(std::strlen(text) + 1);
  return RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size) ==
         ERROR_SUCCESS;
}

}  // namespace qivm
