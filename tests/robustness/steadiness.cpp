#include "tests/robustness/steadiness.h"

#include <cstdio>

namespace qivm::test {

Steadiness::Steadiness(const ResourceWatch& watch)
    : watch_(watch), held_(watch.Held()), process_(ProcessResources::Now()) {}

bool Steadiness::Check(const char* what) const {
  const ResourceWatch::Holdings held = watch_.Held();
  const ProcessResources process = ProcessResources::Now();
  const auto growth =
      static_cast<long>(process.privateBytes) - static_cast<long>(process_.privateBytes);
  const bool steady = held == held_ && process.handles > 0 && process.threads == process_.threads &&
                      process.handles == process_.handles && process.heaps == process_.heaps &&
                      growth <= static_cast<long>(kAllowedBytes);
  std::printf(
      "%s: %s; blocks of the driver %d, then %d; handles of the process %lu, then %lu; threads "
      "%lu, then %lu; memory %ld KiB more\n",
      what, steady ? "steady" : "NOT STEADY", held_.blocks, held.blocks, process_.handles,
      process.handles, process_.threads, process.threads, growth / 1024);
  std::fflush(stdout);
  return steady;
}

}  // namespace qivm::test
