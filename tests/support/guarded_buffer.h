#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm::test {

/// Which end of a guarded buffer lies at inaccessible memory.
enum class Edge : std::uint8_t { first, last };

/// Bytes, at first zero, between inaccessible pages: an access right behind them, or right before
/// them where that is the edge, faults. With an offset the buffer keeps that distance from its
/// edge; writes to the gap, and to the rest of the page on the other side, are found by GapsIntact.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size, Edge edge = Edge::last, std::size_t offset = 0);
  explicit GuardedBuffer(std::span<const std::uint8_t> content);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  std::span<std::uint8_t> Bytes() const { return {data_, size_}; }
  std::uint8_t* Data() const { return data_; }
  std::size_t Size() const { return size_; }

  /// Copies bytes into the buffer, from its start; not more than it holds.
  void Fill(std::span<const std::uint8_t> bytes);
  void Fill(std::uint8_t value);

  enum class Access : std::uint8_t { none, read, readWrite };
  /// Changes the access to the whole buffer.
  void Protect(Access access);
  /// Changes the access to kPage bytes of those between the guards, counted from the first page.
  void ProtectPage(std::size_t index, Access access);
  /// Of every system that the codec runs on.
  static constexpr std::size_t kPage = 4096;
  bool GapsIntact() const;

 private:
  std::size_t MappedBytes() const;

  std::size_t size_;
  std::size_t dataPages_;  // bytes of the pages between the guards
  std::uint8_t* mapped_ = nullptr;
  std::uint8_t* pages_ = nullptr;  // the first one between the guards
  std::uint8_t* data_ = nullptr;
};

}  // namespace qivm::test
