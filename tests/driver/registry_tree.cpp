#include "tests/driver/registry_tree.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace qivm::test {

namespace {

constexpr DWORD kMaxName = 256;
constexpr DWORD kMaxData = 65536;

/// An open key; null when it could not be opened.
class Key {
 public:
  Key(HKEY parent, const char* path, REGSAM access) {
    if (RegOpenKeyExA(parent, path, 0, access, &key_) != ERROR_SUCCESS) {
      key_ = nullptr;
    }
  }
  explicit Key(HKEY key) : key_(key) {}
  ~Key() {
    if (key_ != nullptr) {
      RegCloseKey(key_);
    }
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  HKEY Get() const { return key_; }

  static HKEY Create(HKEY parent, const char* path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(parent, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS)
        << path;
    return key;
  }

 private:
  HKEY key_ = nullptr;
};

RegistryTree ReadOpenTree(HKEY key) {
  RegistryTree tree;
  std::vector<char> name(kMaxName);
  std::vector<std::uint8_t> data(kMaxData);
  for (DWORD i = 0;; ++i) {
    DWORD nameSize = kMaxName;
    DWORD dataSize = kMaxData;
    DWORD type = REG_NONE;
    if (RegEnumValueA(key, i, name.data(), &nameSize, nullptr, &type, data.data(), &dataSize) !=
        ERROR_SUCCESS) {
      break;
    }
    tree.values.push_back({{name.data(), nameSize}, type, {data.data(), data.data() + dataSize}});
  }
  for (DWORD i = 0;; ++i) {
    DWORD nameSize = kMaxName;
    if (RegEnumKeyExA(key, i, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      break;
    }
    const Key inner(key, name.data(), KEY_READ);
    tree.keys.push_back(ReadOpenTree(inner.Get()));
    tree.keys.back().name.assign(name.data(), nameSize);
  }
  return tree;
}

void WriteOpenTree(HKEY key, const RegistryTree& tree) {
  for (const RegistryValue& value : tree.values) {
    EXPECT_EQ(RegSetValueExA(key, value.name.c_str(), 0, value.type, value.data.data(),
                             static_cast<DWORD>(value.data.size())),
              ERROR_SUCCESS);
  }
  for (const RegistryTree& inner : tree.keys) {
    const Key innerKey(Key::Create(key, inner.name.c_str()));
    WriteOpenTree(innerKey.Get(), inner);
  }
}

std::optional<RegistryValue> ReadValue(const char* path, const std::string& name) {
  const std::optional<RegistryTree> tree = ReadTree(path);
  if (!tree) {
    return std::nullopt;
  }
  const auto value = std::find_if(tree->values.begin(), tree->values.end(),
                                  [&](const RegistryValue& entry) { return entry.name == name; });
  return value == tree->values.end() ? std::nullopt : std::optional(*value);
}

}  // namespace

std::optional<RegistryTree> ReadTree(const char* path) {
  const Key key(HKEY_CLASSES_ROOT, path, KEY_READ);
  if (key.Get() == nullptr) {
    return std::nullopt;
  }
  return ReadOpenTree(key.Get());
}

void RestoreTree(const char* path, const std::optional<RegistryTree>& tree) {
  DeleteTree(path);
  if (tree) {
    const Key key(Key::Create(HKEY_CLASSES_ROOT, path));
    WriteOpenTree(key.Get(), *tree);
  }
}

void DeleteTree(const char* path) { RegDeleteTreeA(HKEY_CLASSES_ROOT, path); }

bool KeyExists(const char* path) { return Key(HKEY_CLASSES_ROOT, path, KEY_READ).Get() != nullptr; }

void WriteValue(const char* path, const std::string& name, DWORD type, const void* data,
                std::size_t size) {
  const Key key(Key::Create(HKEY_CLASSES_ROOT, path));
  EXPECT_EQ(RegSetValueExA(key.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data),
                           static_cast<DWORD>(size)),
            ERROR_SUCCESS);
}

void WriteDword(const char* path, const std::string& name, DWORD value) {
  WriteValue(path, name, REG_DWORD, &value, sizeof(value));
}

void WriteString(const char* path, const std::string& name, const std::string& value) {
  WriteValue(path, name, REG_SZ, value.c_str(), value.size() + 1);
}

std::optional<DWORD> ReadDword(const char* path, const std::string& name) {
  const std::optional<RegistryValue> value = ReadValue(path, name);
  if (!value || value->type != REG_DWORD || value->data.size() != sizeof(DWORD)) {
    return std::nullopt;
  }
  DWORD number = 0;
  std::copy(value->data.begin(), value->data.end(), reinterpret_cast<std::uint8_t*>(&number));
  return number;
}

std::optional<std::string> ReadString(const char* path, const std::string& name) {
  const std::optional<RegistryValue> value = ReadValue(path, name);
  if (!value || value->type != REG_SZ || value->data.empty() || value->data.back() != 0) {
    return std::nullopt;
  }
  return std::string(value->data.begin(), value->data.end() - 1);
}

void DeleteValue(const char* path, const std::string& name) {
  const Key key(HKEY_CLASSES_ROOT, path, KEY_ALL_ACCESS);
  EXPECT_EQ(RegDeleteValueA(key.Get(), name.c_str()), ERROR_SUCCESS);
}

namespace {

constexpr char kMakersKey[] = "Software";
constexpr char kCodecMakersKey[] = "Software\\Norvane";
constexpr char kBoardMakersKey[] = "Software\\Pellaro";

void DeleteEmptyKey(const char* path) {
  const std::optional<RegistryTree> tree = ReadTree(path);
  if (tree && tree->values.empty() && tree->keys.empty()) {
    EXPECT_EQ(RegDeleteKeyA(HKEY_CLASSES_ROOT, path), ERROR_SUCCESS) << path;
  }
}

}  // namespace

PreservedSettings::PreservedSettings()
    : hadMakers_(KeyExists(kMakersKey)),
      codec_(ReadTree(kCodecMakersKey)),
      board_(ReadTree(kBoardMakersKey)) {
  DeleteTree(kCodecMakersKey);
  DeleteTree(kBoardMakersKey);
}

PreservedSettings::~PreservedSettings() {
  RestoreTree(kCodecMakersKey, codec_);
  RestoreTree(kBoardMakersKey, board_);
  if (!hadMakers_) {
    DeleteEmptyKey(kMakersKey);
  }
}

}  // namespace qivm::test
