#include "tests/driver/attach_watch.h"

#include <gtest/gtest.h>
#include <winternl.h>

#include "tests/driver/driver_module.h"

namespace qivm::test {

namespace {

constexpr ULONG kLoaded = 1;

/// LDR_DLL_NOTIFICATION_DATA; no header has it.
struct LoadNotification {
  ULONG flags;
  const UNICODE_STRING* path;
  const UNICODE_STRING* name;
  void* base;
  ULONG size;
};

void CALLBACK Notify(ULONG reason, const LoadNotification* notification, void* resources) {
  constexpr wchar_t kDriverName[] = L"qivm.dll";
  if (reason == kLoaded && lstrcmpiW(notification->name->Buffer, kDriverName) == 0) {
    static_cast<ResourceWatch*>(resources)->Attach(static_cast<HMODULE>(notification->base));
  }
}

using RegisterFunction = NTSTATUS(NTAPI*)(ULONG flags, decltype(&Notify) callback, void* context,
                                          void** cookie);
using UnregisterFunction = NTSTATUS(NTAPI*)(void* cookie);

template <typename Function>
Function LoaderFunction(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), name)));
}

}  // namespace

AttachWatch::AttachWatch(ResourceWatch& resources) {
  const auto registerCallback = LoaderFunction<RegisterFunction>("LdrRegisterDllNotification");
  EXPECT_EQ(registerCallback(0, &Notify, &resources, &cookie_), 0);
}

AttachWatch::~AttachWatch() {
  LoaderFunction<UnregisterFunction>("LdrUnregisterDllNotification")(cookie_);
}

}  // namespace qivm::test
