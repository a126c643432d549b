#include "tests/tools/store_codec_registration.h"

#include <windows.h>

#include <string>

#include "tests/tools/cli_run.h"

namespace vfwtool {
namespace {

constexpr wchar_t kDriversKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32";
constexpr wchar_t kCodecValue[] = L"vidc.STOR";

}  // namespace

void StoreCodecRegistration::SetUp() {
  const std::wstring driver = BesideTest(L"store_codec.dll");
  const LSTATUS status =
      RegSetKeyValueW(HKEY_LOCAL_MACHINE, kDriversKey, kCodecValue, REG_SZ, driver.c_str(),
                      static_cast<DWORD>((driver.size() + 1) * sizeof(wchar_t)));
  ASSERT_EQ(status, ERROR_SUCCESS) << "the test codec cannot be registered";
}

void StoreCodecRegistration::TearDown() {
  EXPECT_EQ(RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kDriversKey, kCodecValue), ERROR_SUCCESS);
}

}  // namespace vfwtool
