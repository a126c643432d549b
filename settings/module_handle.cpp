#include "settings/module_handle.h"

namespace qivm {

namespace {
HINSTANCE g_module = nullptr;
}  // namespace

HINSTANCE ModuleHandle() { return g_module; }

void RecordModuleHandle(HINSTANCE module) {
  if (g_module == nullptr) {
    g_module = module;
  }
}

}  // namespace qivm
