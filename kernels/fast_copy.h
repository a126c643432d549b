#pragma once

#include <cstddef>

#include "kernels/cpu_class.h"

namespace qivm {

using CopyFunction = void (*)(void* destination, const void* source, std::size_t byteCount);

/// The copy routine of a processor class, without FastCopy's protection against faults.
CopyFunction CopyFor(CpuClass cpuClass);

/// Copies byteCount bytes between buffers that do not overlap, with the routine of this processor,
/// which the first call finds out. A fault in the copy ends it and is swallowed; the destination
/// may then be partly written.
void FastCopy(void* destination, const void* source, std::size_t byteCount);

}  // namespace qivm
