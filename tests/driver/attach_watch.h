#pragma once

#include <windows.h>

#include "tests/driver/resource_watch.h"

namespace qivm::test {

/// Attaches a resource watch to the driver when the driver is loaded, before its attach hook runs,
/// so that what the attach hook asks for can be refused. Relies on the loader's telling of a
/// library after its imports are bound, as wine's does.
class AttachWatch {
 public:
  explicit AttachWatch(ResourceWatch& resources);
  ~AttachWatch();
  AttachWatch(const AttachWatch&) = delete;
  AttachWatch& operator=(const AttachWatch&) = delete;

 private:
  void* cookie_ = nullptr;
};

}  // namespace qivm::test
