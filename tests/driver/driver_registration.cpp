#include "tests/driver/driver_registration.h"

#include <array>
#include <gtest/gtest.h>

#include "tests/driver/driver_module.h"

namespace qivm::test {

namespace {
constexpr char kDriversKey[] = "Software\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32";
}  // namespace

DriverRegistration::DriverRegistration(const std::string& code) : name_("vidc." + code) {
  EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, kDriversKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key_, nullptr),
            ERROR_SUCCESS);
  std::array<char, MAX_PATH> value = {};
  auto size = static_cast<DWORD>(value.size() - 1);
  if (RegQueryValueExA(key_, name_.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(value.data()),
                       &size) == ERROR_SUCCESS) {
    previous_ = value.data();
  }
  Set(DriverPath());
}

DriverRegistration::~DriverRegistration() {
  if (previous_) {
    Set(*previous_);
  } else {
    RegDeleteValueA(key_, name_.c_str());
  }
  RegCloseKey(key_);
}

void DriverRegistration::Set(const std::string& path) {
  EXPECT_EQ(
      RegSetValueExA(key_, name_.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                     static_cast<DWORD>(path.size() + 1)),
      ERROR_SUCCESS);
}

}  // namespace qivm::test
