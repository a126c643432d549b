#pragma once

#include <cstddef>

namespace qivm {

/// Copies byteCount bytes between buffers that do not overlap. A fault in the copy ends it and is
/// swallowed; the destination may then be partly written.
void FastCopy(void* destination, const void* source, std::size_t byteCount);

}  // namespace qivm
