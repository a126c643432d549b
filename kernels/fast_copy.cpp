#include "kernels/fast_copy.h"

#include <cstring>

#include "platform/platform.h"

namespace qivm {

void FastCopy(void* destination, const void* source, std::size_t byteCount) {
  auto copy = [=] { std::memcpy(destination, source, byteCount); };
  platform::RunGuarded(copy);
}

}  // namespace qivm
