#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "kernels/kernel_set.h"
#include "platform/row_crew.h"

namespace qivm {

/// The start codes of a frame (ISO/IEC 13818-2, 6.2.1), looked for by all threads at once: some way
/// ahead of the one that asks for them in order, each thread in parts of that. A start code never
/// begins inside another one's prefix, so it does not matter where the parts meet. The search does
/// little else than to fetch the frame, and a thread finds the bytes of its rows in its own cache
/// then.
class StartCodeSearch {
 public:
  /// Begins with the frame's bytes from `offset` on.
  void Begin(std::span<const std::uint8_t> frame, std::size_t offset, StartCodeKernel findStartCode,
             RowCrew& crew);

  /// The next start code in the order of the frame, or the frame's end when there is none. Fewer
  /// bytes than a whole one's may be left of it. That a host has stated more bytes than there are
  /// is a fault only when there is no start code in those that there are.
  const std::uint8_t* Next();

 private:
  /// In less, another thread would take longer to come than the search takes.
  static constexpr std::size_t kPartBytes = 16384;
  /// Of which the threads look through as many at once: what lies behind a frame in a buffer whose
  /// size a host gives for the frame's is not worth looking at.
  static constexpr std::size_t kParts = 16;
  /// The rows of 576 lines are kept though they may all be in one part. What is beyond them is
  /// looked for when it is asked for.
  static constexpr std::size_t kKept = 40;

  struct alignas(64) Part {
    const std::uint8_t* rest = nullptr;  ///< what is not looked through yet
    const std::uint8_t* end = nullptr;   ///< of prefixes that begin in the part
    std::size_t found = 0;
    std::array<const std::uint8_t*, kKept> codes;
  };

  void LookAhead();
  const std::uint8_t* EndOfReadable() const;
  void LookThrough(Part& part) const;
  const std::uint8_t* FindOne(Part& part, StartCodeKernel findStartCode) const;

  std::array<Part, kParts> parts_;
  std::size_t count_ = 0;  // of parts at hand

  StartCodeKernel findStartCode_ = nullptr;
  RowCrew* crew_ = nullptr;
  const std::uint8_t* rest_ = nullptr;  ///< what is in no part yet
  const std::uint8_t* end_ = nullptr;

  // Where Next() is.
  std::size_t part_ = 0;
  std::size_t code_ = 0;
};

}  // namespace qivm
