#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qivm::test {

/// One value of a registry key.
struct RegistryValue {
  std::string name;
  DWORD type = REG_NONE;
  std::vector<std::uint8_t> data;
};

/// The content of a key and of the keys inside.
struct RegistryTree {
  std::string name;
  std::vector<RegistryValue> values;
  std::vector<RegistryTree> keys;
};

/// Reads a key below HKEY_CLASSES_ROOT; nothing when there is none.
std::optional<RegistryTree> ReadTree(const char* path);

/// Makes a key what it was when it was read: recreates it, or deletes it when there was none.
void RestoreTree(const char* path, const std::optional<RegistryTree>& tree);

void DeleteTree(const char* path);
bool KeyExists(const char* path);

/// Writes one value, creating the key. The bytes are written as they are.
void WriteValue(const char* path, const std::string& name, DWORD type, const void* data,
                std::size_t size);
void WriteDword(const char* path, const std::string& name, DWORD value);
/// With the terminating NUL.
void WriteString(const char* path, const std::string& name, const std::string& value);

/// Reads one value; nothing when it is missing or of another type. Strings come without the NUL.
std::optional<DWORD> ReadDword(const char* path, const std::string& name);
std::optional<std::string> ReadString(const char* path, const std::string& name);

void DeleteValue(const char* path, const std::string& name);

constexpr char kCodecKey[] = "Software\\Norvane\\MPEG2 codec";
constexpr char kBoardKey[] = "Software\\Pellaro\\Meridel\\Codec";
constexpr char kDefectiveAppsKey[] =
    "Software\\Norvane\\Common codec's settings\\YUV defective application";

/// Takes the codec's settings out of the registry and puts them back at the end of its scope. Where
/// there were none, not even the key is left that a first setting makes above both makers' keys.
class PreservedSettings {
 public:
  PreservedSettings();
  ~PreservedSettings();
  PreservedSettings(const PreservedSettings&) = delete;
  PreservedSettings& operator=(const PreservedSettings&) = delete;

 private:
  bool hadMakers_;
  std::optional<RegistryTree> codec_;
  std::optional<RegistryTree> board_;
};

}  // namespace qivm::test
