#include "driver/library_reference.h"

#include <utility>

#include "settings/module_handle.h"

namespace qivm {

void LibraryReference::Hold(bool wanted) {
  if (wanted && library_ == nullptr) {
    // By an address inside the library; the handle is its first one.
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(ModuleHandle()), &library_);
  } else if (!wanted && library_ != nullptr) {
    FreeLibrary(std::exchange(library_, nullptr));
  }
}

}  // namespace qivm
