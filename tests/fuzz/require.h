#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>

namespace qivm::test {

/// Ends the program when a promise is broken, which is how a fuzzer learns of it.
inline void Require(bool kept, const char* promise) {
  if (!kept) {
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
  }
}

/// The numbers of threads that frames are tried with.
constexpr std::array<unsigned, 4> kThreadCounts = {1, 2, 3, 8};

}  // namespace qivm::test
