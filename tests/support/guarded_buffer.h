#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm::test {

/// A buffer that ends exactly where memory ends: the byte behind its last one, and the page before
/// its first page, cannot be accessed.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size);
  explicit GuardedBuffer(std::span<const std::uint8_t> content);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  std::span<std::uint8_t> Bytes() const { return {data_, size_}; }
  std::uint8_t* Data() const { return data_; }
  std::size_t Size() const { return size_; }

  enum class Access : std::uint8_t { none, read, readWrite };
  /// Changes the access to the whole buffer.
  void Protect(Access access);

 private:
  std::size_t MappedBytes() const;

  std::size_t size_;
  std::size_t dataPages_;  // bytes of the pages between the guards
  std::uint8_t* pages_ = nullptr;
  std::uint8_t* data_ = nullptr;
};

}  // namespace qivm::test
