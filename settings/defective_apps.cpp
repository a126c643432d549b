#include "settings/defective_apps.h"

#include "platform/platform.h"
#include "settings/file_name.h"
#include "settings/registry_key.h"
#include "settings/settings_reader.h"
#include "settings/value_names.h"

namespace qivm {

namespace {

constexpr char kListKey[] = "SoftWare\\Norvane\\Common codec's settings\\YUV defective application";
constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

constexpr DefectiveAppList kDefaultList = {{{"WMPLAYER.EXE"}}};

constinit DefectiveAppList g_list = {};
HINSTANCE g_listModule = nullptr;

bool ReadList() {
  RegistryKey key;
  if (!key.OpenOrCreate(kListKey, kReadWrite) || !ReadDefectiveAppValues(key, g_list)) {
    return false;
  }
  for (auto& name : g_list) {
    CharUpperA(name.data());
  }
  return true;
}

bool IsListed(const char* fileName) {
  for (const auto& entry : g_list) {
    if (entry.front() == '\0') {
      return false;
    }
    if (lstrcmpiA(fileName, entry.data()) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

DefectiveAppList& DefectiveApps() { return g_list; }

HINSTANCE DefectiveListModule() { return g_listModule; }

void LoadDefectiveAppList(HINSTANCE module) {
  g_listModule = module;
  if (!ReadList()) {
    g_list = kDefaultList;
    SaveDefectiveAppList();
  }
}

void SaveDefectiveAppList() {
  // Deleted first, so that no name of a longer list survives.
  RegistryKey::Delete(kListKey);
  RegistryKey key;
  if (!key.OpenOrCreate(kListKey, kReadWrite)) {
    return;
  }
  for (std::size_t i = 0; i < g_list.size() && g_list[i].front() != '\0'; ++i) {
    if (!key.WriteString(ValueName::Hexadecimal(kDefectiveAppPrefix, i).Text(), g_list[i].data())) {
      break;
    }
  }
  key.WriteDword(kCorrectStateValue, 1);
}

bool IsDefectiveHost() {
  bool defective = false;
  auto look = [&] {
    constexpr DWORD kPathBytes = 260;
    // One byte more than the system is told: it does not terminate a path that is cut.
    std::array<char, kPathBytes + 1> path = {};
    defective = GetModuleFileNameA(nullptr, path.data(), kPathBytes) == 0 ||
                IsListed(FileNamePart(path.data(), "\\", CharNextA));
  };
  return platform::RunGuarded(look) && defective;
}

}  // namespace qivm
