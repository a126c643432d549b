#include "tests/robustness/host_stand_ins.h"

#include <cstring>

#include "tests/robustness/access_watch.h"

namespace qivm::test {

namespace {

thread_local HostThread t_host;
HostStandIns* g_standIns = nullptr;

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

HostThread& ThisHostThread() { return t_host; }

HostStandIns::HostStandIns(HMODULE driver)
    : getSystem_(driver, "GetSystemInfo", Address(&GetSystem)),
      getFileName_(driver, "GetModuleFileNameA", Address(&GetFileName)),
      showDialog_(driver, "DialogBoxParamA", Address(&ShowDialog)),
      outputText_(driver, "OutputDebugStringA", Address(&OutputText)) {
  g_standIns = this;
}

HostStandIns::~HostStandIns() { g_standIns = nullptr; }

void WINAPI HostStandIns::GetSystem(SYSTEM_INFO* info) {
  g_standIns->getSystem_.Original<decltype(&GetSystemInfo)>()(info);
  info->dwNumberOfProcessors = t_host.processors;
}

DWORD WINAPI HostStandIns::GetFileName(HMODULE module, LPSTR buffer, DWORD size) {
  constexpr char kListed[] = "C:\\Program Files\\Player\\wmplayer.exe";
  if (module == nullptr && t_host.defectiveHost && size >= sizeof(kListed)) {
    std::memcpy(buffer, kListed, sizeof(kListed));
    return sizeof(kListed) - 1;
  }
  return g_standIns->getFileName_.Original<decltype(&GetModuleFileNameA)>()(module, buffer, size);
}

INT_PTR WINAPI HostStandIns::ShowDialog(HINSTANCE /*module*/, LPCSTR /*resource*/, HWND /*parent*/,
                                        DLGPROC /*procedure*/, LPARAM /*parameter*/) {
  ++t_host.dialogs;
  return t_host.dialogResult;
}

void WINAPI HostStandIns::OutputText(LPCSTR text) {
  ++t_host.debugTexts;
  if (std::strcmp(text, "USING TABLE ZERO\n") == 0) {
    AccessWatch::AnnounceNull();
  }
}

}  // namespace qivm::test
