#include "tests/driver/resource_watch.h"

#include "tests/driver/import_hook.h"

namespace qivm::test {

namespace {

ResourceWatch* g_watch = nullptr;

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

struct ResourceWatch::Hooks {
  explicit Hooks(HMODULE driver)
      : heapCreate(driver, "HeapCreate", Address(&CreateHeap)),
        heapAlloc(driver, "HeapAlloc", Address(&Allocate)),
        heapFree(driver, "HeapFree", Address(&Free)),
        createEvent(driver, "CreateEventA", Address(&CreateAnEvent)),
        closeHandle(driver, "CloseHandle", Address(&Close)),
        beginThread(driver, "_beginthreadex", Address(&StartThread)),
        openKey(driver, "RegOpenKeyExA", Address(&OpenKey)),
        createKey(driver, "RegCreateKeyExA", Address(&CreateKey)),
        queryValue(driver, "RegQueryValueExA", Address(&QueryValue)),
        setValue(driver, "RegSetValueExA", Address(&SetValue)),
        deleteKey(driver, "RegDeleteKeyA", Address(&DeleteKey)),
        closeKey(driver, "RegCloseKey", Address(&CloseKey)) {}

  ImportHook heapCreate;
  ImportHook heapAlloc;
  ImportHook heapFree;
  ImportHook createEvent;
  ImportHook closeHandle;
  ImportHook beginThread;
  ImportHook openKey;
  ImportHook createKey;
  ImportHook queryValue;
  ImportHook setValue;
  ImportHook deleteKey;
  ImportHook closeKey;
};

ResourceWatch::ResourceWatch() { g_watch = this; }

ResourceWatch::~ResourceWatch() {
  Detach();
  g_watch = nullptr;
}

void ResourceWatch::Attach(HMODULE driver) { hooks_ = std::make_unique<Hooks>(driver); }

void ResourceWatch::Detach() { hooks_.reset(); }

void ResourceWatch::Restart(int failing) {
  calls_ = 0;
  failing_ = failing;
  refused_ = nullptr;
}

bool ResourceWatch::Refused(const char* function) {
  if (++g_watch->calls_ != g_watch->failing_) {
    return false;
  }
  g_watch->refused_ = function;
  return true;
}

HANDLE WINAPI ResourceWatch::CreateHeap(DWORD options, SIZE_T initial, SIZE_T maximum) {
  return Refused("HeapCreate") ? nullptr
                               : g_watch->hooks_->heapCreate.Original<decltype(&HeapCreate)>()(
                                     options, initial, maximum);
}

LPVOID WINAPI ResourceWatch::Allocate(HANDLE heap, DWORD flags, SIZE_T size) {
  if (Refused("HeapAlloc")) {
    return nullptr;
  }
  void* const block =
      g_watch->hooks_->heapAlloc.Original<decltype(&HeapAlloc)>()(heap, flags, size);
  g_watch->blocks_ += block != nullptr ? 1 : 0;
  return block;
}

BOOL WINAPI ResourceWatch::Free(HANDLE heap, DWORD flags, LPVOID block) {
  const BOOL freed = g_watch->hooks_->heapFree.Original<decltype(&HeapFree)>()(heap, flags, block);
  g_watch->blocks_ -= freed != FALSE ? 1 : 0;
  return freed;
}

HANDLE WINAPI ResourceWatch::CreateAnEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL initial,
                                           LPCSTR name) {
  if (Refused("CreateEventA")) {
    return nullptr;
  }
  const HANDLE event = g_watch->hooks_->createEvent.Original<decltype(&CreateEventA)>()(
      security, manual, initial, name);
  g_watch->handles_ += event != nullptr ? 1 : 0;
  return event;
}

BOOL WINAPI ResourceWatch::Close(HANDLE handle) {
  const BOOL closed = g_watch->hooks_->closeHandle.Original<decltype(&CloseHandle)>()(handle);
  g_watch->handles_ -= closed != FALSE ? 1 : 0;
  return closed;
}

std::uintptr_t __cdecl ResourceWatch::StartThread(void* security, unsigned stack, Body body,
                                                  void* argument, unsigned flags, unsigned* id) {
  using BeginThread = std::uintptr_t(__cdecl*)(void*, unsigned, Body, void*, unsigned, unsigned*);
  if (Refused("_beginthreadex")) {
    return 0;
  }
  const std::uintptr_t thread = g_watch->hooks_->beginThread.Original<BeginThread>()(
      security, stack, body, argument, flags, id);
  g_watch->handles_ += thread != 0 ? 1 : 0;
  return thread;
}

LSTATUS WINAPI ResourceWatch::OpenKey(HKEY parent, LPCSTR name, DWORD options, REGSAM access,
                                      HKEY* key) {
  if (Refused("RegOpenKeyExA")) {
    return ERROR_ACCESS_DENIED;
  }
  const LSTATUS status = g_watch->hooks_->openKey.Original<decltype(&RegOpenKeyExA)>()(
      parent, name, options, access, key);
  g_watch->keys_ += status == ERROR_SUCCESS ? 1 : 0;
  return status;
}

LSTATUS WINAPI ResourceWatch::CreateKey(HKEY parent, LPCSTR name, DWORD reserved, LPSTR type,
                                        DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security,
                                        HKEY* key, DWORD* disposition) {
  if (Refused("RegCreateKeyExA")) {
    return ERROR_ACCESS_DENIED;
  }
  const LSTATUS status = g_watch->hooks_->createKey.Original<decltype(&RegCreateKeyExA)>()(
      parent, name, reserved, type, options, access, security, key, disposition);
  g_watch->keys_ += status == ERROR_SUCCESS ? 1 : 0;
  return status;
}

LSTATUS WINAPI ResourceWatch::QueryValue(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type,
                                         BYTE* data, DWORD* size) {
  return Refused("RegQueryValueExA")
             ? ERROR_ACCESS_DENIED
             : g_watch->hooks_->queryValue.Original<decltype(&RegQueryValueExA)>()(
                   key, name, reserved, type, data, size);
}

LSTATUS WINAPI ResourceWatch::SetValue(HKEY key, LPCSTR name, DWORD reserved, DWORD type,
                                       const BYTE* data, DWORD size) {
  return Refused("RegSetValueExA")
             ? ERROR_ACCESS_DENIED
             : g_watch->hooks_->setValue.Original<decltype(&RegSetValueExA)>()(key, name, reserved,
                                                                               type, data, size);
}

LSTATUS WINAPI ResourceWatch::DeleteKey(HKEY parent, LPCSTR name) {
  return Refused("RegDeleteKeyA")
             ? ERROR_ACCESS_DENIED
             : g_watch->hooks_->deleteKey.Original<decltype(&RegDeleteKeyA)>()(parent, name);
}

LSTATUS WINAPI ResourceWatch::CloseKey(HKEY key) {
  const LSTATUS status = g_watch->hooks_->closeKey.Original<decltype(&RegCloseKey)>()(key);
  g_watch->keys_ -= status == ERROR_SUCCESS ? 1 : 0;
  return status;
}

}  // namespace qivm::test
