#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace qivm::test {

/// Which end of a guarded buffer lies at an inaccessible page.
enum class Edge { first, last };

/// Bytes between two inaccessible pages, so that an access right before or behind them faults. With
/// an offset the buffer keeps that distance from its edge's page; writes to the gap, and to the
/// rest of the last page on the other side, are found by GapsIntact.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size, Edge edge = Edge::last, std::size_t offset = 0);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  std::uint8_t* Data() const { return data_; }
  std::size_t Size() const { return size_; }
  std::span<std::uint8_t> Bytes() const { return {data_, size_}; }

  /// Copies bytes into the buffer, from its start.
  void Fill(std::span<const std::uint8_t> bytes);
  void Fill(std::uint8_t value);
  /// Changes what may be done with the buffer's pages: PAGE_READONLY, PAGE_NOACCESS and so on.
  void Protect(DWORD protection);
  bool GapsIntact() const;

 private:
  std::uint8_t* reserved_ = nullptr;
  std::uint8_t* pages_ = nullptr;
  std::size_t pageBytes_ = 0;
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace qivm::test
