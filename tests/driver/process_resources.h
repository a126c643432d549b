#pragma once

#include <windows.h>

#include <cstddef>

namespace qivm::test {

/// What the process holds of the system, as the system counts it.
struct ProcessResources {
  static ProcessResources Now();

  DWORD threads = 0;
  DWORD handles = 0;
  DWORD heaps = 0;
  std::size_t privateBytes = 0;
};

}  // namespace qivm::test
