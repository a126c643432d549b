#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

namespace qivm::test {

/// Stands in for every import by which the driver gets something that Windows may refuse (memory,
/// events, threads, registry keys and values) and for those by which it gives it back. Counts what
/// the driver holds, and lets one call fail. At most one at a time; while it is attached the driver
/// must stay loaded.
class ResourceWatch {
 public:
  ResourceWatch();
  explicit ResourceWatch(HMODULE driver) : ResourceWatch() { Attach(driver); }
  ~ResourceWatch();
  ResourceWatch(const ResourceWatch&) = delete;
  ResourceWatch& operator=(const ResourceWatch&) = delete;

  void Attach(HMODULE driver);
  void Detach();

  /// Counts the calls from zero again and lets the one of this number fail, counted from 1; 0 for
  /// none.
  void Restart(int failing = 0);
  /// Calls that could have failed since the restart.
  int Calls() const { return calls_; }
  /// The function whose call was refused since the restart; empty for none.
  std::string RefusedFunction() const { return refused_ == nullptr ? "" : refused_.load(); }

  /// What the driver holds of what it got while the watch was attached.
  struct Holdings {
    int blocks = 0;
    int handles = 0;
    int keys = 0;

    bool operator==(const Holdings&) const = default;
  };
  Holdings Held() const { return {blocks_, handles_, keys_}; }

 private:
  struct Hooks;

  /// Counts one call; true when it is the one to fail.
  static bool Refused(const char* function);

  static HANDLE WINAPI CreateHeap(DWORD options, SIZE_T initial, SIZE_T maximum);
  static LPVOID WINAPI Allocate(HANDLE heap, DWORD flags, SIZE_T size);
  static BOOL WINAPI Free(HANDLE heap, DWORD flags, LPVOID block);
  static HANDLE WINAPI CreateAnEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL initial,
                                     LPCSTR name);
  static BOOL WINAPI Close(HANDLE handle);
  using Body = unsigned(__stdcall*)(void*);
  static std::uintptr_t __cdecl StartThread(void* security, unsigned stack, Body body,
                                            void* argument, unsigned flags, unsigned* id);
  static LSTATUS WINAPI OpenKey(HKEY parent, LPCSTR name, DWORD options, REGSAM access, HKEY* key);
  static LSTATUS WINAPI CreateKey(HKEY parent, LPCSTR name, DWORD reserved, LPSTR type,
                                  DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security,
                                  HKEY* key, DWORD* disposition);
  static LSTATUS WINAPI QueryValue(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                   DWORD* size);
  static LSTATUS WINAPI SetValue(HKEY key, LPCSTR name, DWORD reserved, DWORD type,
                                 const BYTE* data, DWORD size);
  static LSTATUS WINAPI DeleteKey(HKEY parent, LPCSTR name);
  static LSTATUS WINAPI CloseKey(HKEY key);

  std::atomic<int> calls_ = 0;
  std::atomic<int> failing_ = 0;
  std::atomic<const char*> refused_ = nullptr;
  std::atomic<int> blocks_ = 0;
  std::atomic<int> handles_ = 0;
  std::atomic<int> keys_ = 0;
  std::unique_ptr<Hooks> hooks_;
};

}  // namespace qivm::test
