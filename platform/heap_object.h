#pragma once

#include <cstddef>
#include <new>
#include <span>
#include <utility>

#include "platform/platform.h"

namespace qivm {

/// Base of every class that the codec creates with new: the objects live in the codec's heap, and
/// `new` yields null instead of throwing when there is no memory.
class HeapObject {
 public:
  static void* operator new(std::size_t size) noexcept {
    return platform::HeapAllocate(size, alignof(std::max_align_t));
  }
  static void* operator new(std::size_t size, std::align_val_t alignment) noexcept {
    return platform::HeapAllocate(size, static_cast<std::size_t>(alignment));
  }
  static void operator delete(void* memory) noexcept { platform::HeapRelease(memory); }
  static void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    platform::HeapRelease(memory);
  }
};

/// A block of bytes owned from the codec's heap.
class HeapBuffer {
 public:
  HeapBuffer() = default;
  ~HeapBuffer() { Release(); }
  HeapBuffer(const HeapBuffer&) = delete;
  HeapBuffer& operator=(const HeapBuffer&) = delete;

  /// Replaces the block by one of `size` bytes, aligned to a page. False when there is no memory;
  /// the buffer is then empty.
  bool Allocate(std::size_t size) noexcept {
    Release();
    data_ = static_cast<unsigned char*>(platform::HeapAllocate(size, platform::kPageBytes));
    size_ = data_ != nullptr ? size : 0;
    return data_ != nullptr;
  }
  void Release() noexcept {
    platform::HeapRelease(std::exchange(data_, nullptr));
    size_ = 0;
  }
  std::span<unsigned char> Bytes() const noexcept { return {data_, size_}; }

 private:
  unsigned char* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace qivm
