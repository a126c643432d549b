#pragma once

#include <windows.h>

#include <cstdint>

namespace qivm::test {

/// Replaces one imported function of a loaded library by a function of the tests, for the hook's
/// lifetime. The library must stay loaded as long. It is a test failure when the library does not
/// import the function.
class ImportHook {
 public:
  ImportHook(HMODULE module, const char* name, void* replacement);
  ~ImportHook();
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

  /// The function that was imported.
  template <typename Function>
  Function Original() const {
    return reinterpret_cast<Function>(original_);
  }

 private:
  std::uintptr_t* slot_ = nullptr;
  std::uintptr_t original_ = 0;
};

}  // namespace qivm::test
