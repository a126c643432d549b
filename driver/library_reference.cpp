#include "driver/library_reference.h"

#include <utility>

#include "settings/module_handle.h"

namespace qivm {

bool LibraryReference::Hold() {
  // By an address inside the library; the handle is its first one.
  return library_ != nullptr ||
         GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                            reinterpret_cast<LPCSTR>(ModuleHandle()), &library_) != FALSE;
}

void LibraryReference::LetGo() {
  if (library_ != nullptr) {
    FreeLibrary(std::exchange(library_, nullptr));
  }
}

}  // namespace qivm
