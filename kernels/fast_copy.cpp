#include "kernels/fast_copy.h"

#include <atomic>
#include <cstdint>
#include <cstring>

#include "kernels/simd/intrinsics.h"
#include "kernels/simd/target.h"
#include "platform/platform.h"

namespace qivm {

namespace {

/// The SIMD copies bring a block of this size into the cache before they copy it, so that the bus
/// reads for a while and then writes for a while.
constexpr std::size_t kBlockBytes = 8192;

void ReadWord(const std::uint8_t* address) {
  std::uint32_t word = 0;
  std::memcpy(&word, address, sizeof(word));
  asm volatile("" : : "r"(word));
}

/// Reads a word at every kDistance bytes of a block.
template <std::size_t kDistance>
struct Forward {
  static void Read(const std::uint8_t* block) {
    for (std::size_t offset = 0; offset < kBlockBytes; offset += kDistance) {
      ReadWord(block + offset);
    }
  }
};

/// The same from the end of the block to its beginning.
template <std::size_t kDistance>
struct Backward {
  static void Read(const std::uint8_t* block) {
    for (std::size_t offset = kBlockBytes; offset > 0; offset -= kDistance) {
      ReadWord(block + offset - kDistance);
    }
  }
};

void PlainCopy(void* destination, const void* source, std::size_t byteCount) {
  std::memcpy(destination, source, byteCount);
}

QIVM_BEGIN_TARGET("mmx")

/// Ends a copy's use of the MMX registers, which the x87 unit shares.
void ClearMmxState() { _mm_empty(); }

namespace mmx {

struct Stores {
  [[gnu::always_inline]] static inline void Store(std::uint8_t* place, __m64 value) {
    std::memcpy(place, &value, sizeof(value));
  }
  [[gnu::always_inline]] static inline void Finish() { _mm_empty(); }
};

#include "kernels/fast_copy_simd.inc"

}  // namespace mmx

QIVM_END_TARGET

QIVM_BEGIN_TARGET(QIVM_EXTENDED_MMX)

namespace mmx_extended {

/// Stores that pass the cache by, so that a frame does not drive out what the codec works with.
struct Stores {
  [[gnu::always_inline]] static inline void Store(std::uint8_t* place, __m64 value) {
#if defined(__clang__)
    _mm_stream_pi(reinterpret_cast<__m64*>(place), value);
#else
    // The intrinsic asks for SSE, which some processors with the instruction lack.
    unsigned long long bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    __builtin_ia32_movntq(reinterpret_cast<unsigned long long*>(place), bits);
#endif
  }
  [[gnu::always_inline]] static inline void Finish() {
    __builtin_ia32_sfence();
    _mm_empty();
  }
};

#include "kernels/fast_copy_simd.inc"

}  // namespace mmx_extended

QIVM_END_TARGET

void BindAndCopy(void* destination, const void* source, std::size_t byteCount);

// The routine of this processor, once a copy has been made. Threads that find it out at the same
// time store the same.
std::atomic<CopyFunction> g_boundCopy = &BindAndCopy;

void BindAndCopy(void* destination, const void* source, std::size_t byteCount) {
  const CopyFunction copy = CopyFor(DetectCpuClass());
  g_boundCopy.store(copy, std::memory_order_relaxed);
  copy(destination, source, byteCount);
}

}  // namespace

CopyFunction CopyFor(CpuClass cpuClass) {
  switch (cpuClass) {
    case CpuClass::amdMmx:
    case CpuClass::intelMmx:
      return &mmx::Copy<Forward<32>>;
    case CpuClass::intelSse:
      return &mmx_extended::Copy<Forward<32>>;
    case CpuClass::intelSse2:
      return &mmx_extended::Copy<Forward<128>>;
    case CpuClass::amdExtendedMmx:
    case CpuClass::amdSse:
    case CpuClass::amdSse2:
      return &mmx_extended::Copy<Backward<64>>;
    case CpuClass::plain:
      break;
  }
  return &PlainCopy;
}

void FastCopy(void* destination, const void* source, std::size_t byteCount) {
  auto copy = [=] { g_boundCopy.load(std::memory_order_relaxed)(destination, source, byteCount); };
  if (!platform::RunGuarded(copy) && g_boundCopy.load(std::memory_order_relaxed) != &PlainCopy) {
    ClearMmxState();
  }
}

}  // namespace qivm
