#include "tests/driver/guarded_buffer.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace qivm::test {

namespace {
constexpr std::size_t kPage = 4096;
constexpr std::uint8_t kGapByte = 0xA5;
}  // namespace

GuardedBuffer::GuardedBuffer(std::size_t size, Edge edge, std::size_t offset) : size_(size) {
  pageBytes_ = (size + offset + kPage - 1) / kPage * kPage;
  pageBytes_ = std::max(pageBytes_, kPage);
  reserved_ = static_cast<std::uint8_t*>(
      VirtualAlloc(nullptr, pageBytes_ + 2 * kPage, MEM_RESERVE, PAGE_NOACCESS));
  pages_ = static_cast<std::uint8_t*>(
      VirtualAlloc(reserved_ + kPage, pageBytes_, MEM_COMMIT, PAGE_READWRITE));
  if (pages_ == nullptr) {
    ADD_FAILURE() << "no memory for a buffer of " << size << " bytes";
    return;
  }
  std::memset(pages_, kGapByte, pageBytes_);
  data_ = edge == Edge::first ? pages_ + offset : pages_ + pageBytes_ - size - offset;
}

GuardedBuffer::~GuardedBuffer() { VirtualFree(reserved_, 0, MEM_RELEASE); }

void GuardedBuffer::Fill(std::span<const std::uint8_t> bytes) {
  ASSERT_LE(bytes.size(), size_);
  std::copy(bytes.begin(), bytes.end(), data_);
}

void GuardedBuffer::Fill(std::uint8_t value) { std::memset(data_, value, size_); }

void GuardedBuffer::Protect(DWORD protection) {
  DWORD previous = 0;
  ASSERT_NE(VirtualProtect(pages_, pageBytes_, protection, &previous), FALSE);
}

bool GuardedBuffer::GapsIntact() const {
  const auto isGap = [](std::uint8_t byte) { return byte == kGapByte; };
  return std::all_of(pages_, data_, isGap) &&
         std::all_of(data_ + size_, pages_ + pageBytes_, isGap);
}

}  // namespace qivm::test
