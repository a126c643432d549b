#pragma once

#include <cstddef>

namespace qivm {

/// Copies bytes between buffers that do not overlap and one of which is the host's. False when a
/// fault ended the copy; the destination may then be partly written.
bool FastCopy(void* destination, const void* source, std::size_t byteCount);

}  // namespace qivm
