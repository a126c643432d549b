#include "tests/support/guarded_buffer.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif
#if defined(__clang__) && !defined(_WIN32)
#include <sanitizer/asan_interface.h>
#endif

#include <algorithm>
#include <cstdlib>

namespace qivm::test {

namespace {

constexpr std::uint8_t kGapByte = 0xA5;

#if defined(_WIN32)

std::size_t PageSize() {
  SYSTEM_INFO info = {};
  GetSystemInfo(&info);
  return info.dwPageSize;
}
std::uint8_t* Map(std::size_t size) {
  return static_cast<std::uint8_t*>(
      VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS));
}
void Unmap(std::uint8_t* memory, std::size_t /*size*/) { VirtualFree(memory, 0, MEM_RELEASE); }
bool Change(std::uint8_t* memory, std::size_t size, GuardedBuffer::Access access) {
  DWORD protection = PAGE_NOACCESS;
  if (access != GuardedBuffer::Access::none) {
    protection = access == GuardedBuffer::Access::read ? PAGE_READONLY : PAGE_READWRITE;
  }
  DWORD before = 0;
  return VirtualProtect(memory, size, protection, &before) != 0;
}

#else

std::size_t PageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }
std::uint8_t* Map(std::size_t size) {
  void* const memory = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    return nullptr;
  }
#if defined(ASAN_UNPOISON_MEMORY_REGION)
  // What the sanitizer knew of the stack of a thread that has ended is not true of new pages there.
  ASAN_UNPOISON_MEMORY_REGION(memory, size);
#endif
  return static_cast<std::uint8_t*>(memory);
}
void Unmap(std::uint8_t* memory, std::size_t size) { munmap(memory, size); }
bool Change(std::uint8_t* memory, std::size_t size, GuardedBuffer::Access access) {
  int protection = PROT_NONE;
  if (access != GuardedBuffer::Access::none) {
    protection = access == GuardedBuffer::Access::read ? PROT_READ : PROT_READ | PROT_WRITE;
  }
  return mprotect(memory, size, protection) == 0;
}

#endif

}  // namespace

GuardedBuffer::GuardedBuffer(std::size_t size, Edge edge, std::size_t offset) : size_(size) {
  const std::size_t page = PageSize();
  dataPages_ = std::max<std::size_t>(1, (size + offset + page - 1) / page) * page;
  mapped_ = Map(MappedBytes());
  if (mapped_ == nullptr) {
    std::abort();
  }
  pages_ = mapped_ + page;
  Protect(Access::readWrite);
  data_ = edge == Edge::first ? pages_ + offset : pages_ + dataPages_ - size - offset;
  std::fill(pages_, data_, kGapByte);
  std::fill(data_ + size_, pages_ + dataPages_, kGapByte);
}

GuardedBuffer::GuardedBuffer(std::span<const std::uint8_t> content)
    : GuardedBuffer(content.size()) {
  Fill(content);
}

GuardedBuffer::~GuardedBuffer() { Unmap(mapped_, MappedBytes()); }

std::size_t GuardedBuffer::MappedBytes() const {
  // A page before the data; behind it as many as there is data, and one: code that takes the buffer
  // for twice its size still meets nothing but guards.
  return 2 * dataPages_ + 2 * PageSize();
}

void GuardedBuffer::Fill(std::span<const std::uint8_t> bytes) {
  if (bytes.size() > size_) {
    std::abort();
  }
  std::copy(bytes.begin(), bytes.end(), data_);
}

void GuardedBuffer::Fill(std::uint8_t value) { std::fill(data_, data_ + size_, value); }

void GuardedBuffer::Protect(Access access) {
  if (!Change(pages_, dataPages_, access)) {
    std::abort();
  }
}

void GuardedBuffer::ProtectPage(std::size_t index, Access access) {
  if (!Change(pages_ + index * kPage, kPage, access)) {
    std::abort();
  }
}

bool GuardedBuffer::GapsIntact() const {
  const auto isGap = [](std::uint8_t byte) { return byte == kGapByte; };
  return std::all_of(pages_, data_, isGap) &&
         std::all_of(data_ + size_, pages_ + dataPages_, isGap);
}

}  // namespace qivm::test
