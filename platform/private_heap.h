#pragma once

/// The Windows side of the codec's heap: a private, growable heap that does its own locking. The
/// driver creates it when the library is attached to a process and destroys it, with whatever is
/// still allocated, when it is detached.
namespace qivm::platform {

/// Creates the heap; false when the system refuses, every allocation then fails.
bool CreatePrivateHeap() noexcept;
void DestroyPrivateHeap() noexcept;

}  // namespace qivm::platform
