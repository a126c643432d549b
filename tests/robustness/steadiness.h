#pragma once

#include "tests/driver/process_resources.h"
#include "tests/driver/resource_watch.h"

namespace qivm::test {

/// What the driver and the process hold at one time, to compare with a later one.
class Steadiness {
 public:
  /// Memory by which the process may have grown; the system's own bookkeeping is part of it.
  static constexpr std::size_t kAllowedBytes = std::size_t{1} << 20;

  explicit Steadiness(const ResourceWatch& watch);

  /// Prints what has changed since, and says whether that is nothing but a little memory.
  bool Check(const char* what) const;

 private:
  const ResourceWatch& watch_;
  ResourceWatch::Holdings held_;
  ProcessResources process_;
};

}  // namespace qivm::test
