#include "tests/driver/driver_module.h"

namespace qivm::test {

namespace {
constexpr char kDriverFile[] = "qivm.dll";
}  // namespace

std::string DriverPath() {
  char program[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, program, sizeof(program));
  const std::string path = program;
  return path.substr(0, path.rfind('\\') + 1) + kDriverFile;
}

DWORD_PTR DriverModule::Open(DWORD handler) const {
  ICOPEN open = {};
  open.dwSize = sizeof(open);
  open.fccType = ICTYPE_VIDEO;
  open.fccHandler = handler;
  open.dwFlags = ICMODE_COMPRESS;
  return static_cast<DWORD_PTR>(Send(0, DRV_OPEN, 0, &open));
}

void DriverModule::Load() {
  module_ = LoadLibraryA(DriverPath().c_str());
  ASSERT_NE(module_, nullptr) << DriverPath() << ": error " << GetLastError();
  function_ = reinterpret_cast<DriverProcFunction>(
      reinterpret_cast<void*>(GetProcAddress(module_, "DriverProc")));
  ASSERT_NE(function_, nullptr);
}

void DriverModule::Unload() {
  if (module_ != nullptr) {
    EXPECT_NE(FreeLibrary(module_), FALSE);
    EXPECT_EQ(GetModuleHandleA(kDriverFile), nullptr) << "the driver is still loaded";
    module_ = nullptr;
    function_ = nullptr;
  }
}

}  // namespace qivm::test
