#include "tests/driver/import_hook.h"

#include <cstring>
#include <gtest/gtest.h>

namespace qivm::test {

namespace {

template <typename Pointed>
Pointed* At(HMODULE module, std::uintptr_t offset) {
  return reinterpret_cast<Pointed*>(reinterpret_cast<std::uintptr_t>(module) + offset);
}

/// The import table's slot for a function, in whichever library it is imported from.
std::uintptr_t* FindSlot(HMODULE module, const char* name) {
  const auto* dos = At<const IMAGE_DOS_HEADER>(module, 0);
  const auto* headers =
      At<const IMAGE_NT_HEADERS>(module, static_cast<std::uintptr_t>(dos->e_lfanew));
  const IMAGE_DATA_DIRECTORY& imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  for (const auto* library = At<const IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress);
       library->Name != 0; ++library) {
    const auto* lookup = At<const IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
    auto* slot = At<std::uintptr_t>(module, library->FirstThunk);
    for (; lookup->u1.AddressOfData != 0; ++lookup, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(lookup->u1.Ordinal)) {
        continue;
      }
      const auto* entry = At<const IMAGE_IMPORT_BY_NAME>(
          module, static_cast<std::uintptr_t>(lookup->u1.AddressOfData));
      if (std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0) {
        return slot;
      }
    }
  }
  return nullptr;
}

void Store(std::uintptr_t* slot, std::uintptr_t value) {
  DWORD protection = 0;
  VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
  *slot = value;
  VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

}  // namespace

ImportHook::ImportHook(HMODULE module, const char* name, void* replacement)
    : slot_(FindSlot(module, name)) {
  if (slot_ == nullptr) {
    ADD_FAILURE() << "the driver does not import " << name;
    return;
  }
  original_ = *slot_;
  Store(slot_, reinterpret_cast<std::uintptr_t>(replacement));
}

ImportHook::~ImportHook() {
  if (slot_ != nullptr) {
    Store(slot_, original_);
  }
}

}  // namespace qivm::test
