#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "kernels/kernel_set.h"
#include "platform/row_crew.h"

namespace qivm {

/// The start codes of a frame (ISO/IEC 13818-2, 6.2.1), looked for by all threads at once, each in
/// parts of the frame, ahead of the one that asks for them in order. A start code never begins
/// inside another one's prefix, so it does not matter where the parts meet. The search does little
/// else than to fetch the frame, and a thread finds the bytes of its rows in its own cache then.
class StartCodeSearch {
 public:
  /// Begins with the frame's bytes from `offset` on. Where a host states more bytes than there are,
  /// the threads look ahead as far as there are any; this is no fault yet.
  void Begin(std::span<const std::uint8_t> frame, std::size_t offset, StartCodeKernel findStartCode,
             RowCrew& crew);

  /// The next start code in the order of the frame, or the frame's end when there is none. Fewer
  /// bytes than a whole one's may be left of it. Reads no byte behind the start code that the
  /// threads have not been able to read.
  const std::uint8_t* Next();

 private:
  /// Below that another thread would take longer to come than the search takes.
  static constexpr std::size_t kFewestBytes = 16384;
  static constexpr std::size_t kMostParts = 16;
  /// The rows of 576 lines are kept though they may all be in one part. What is beyond them is
  /// looked for when it is asked for.
  static constexpr std::size_t kKept = 40;

  struct alignas(64) Part {
    const std::uint8_t* rest = nullptr;  ///< what is not looked through yet
    const std::uint8_t* end = nullptr;   ///< of prefixes that begin in the part
    std::size_t found = 0;
    std::array<const std::uint8_t*, kKept> codes;
  };

  static std::span<const std::uint8_t> ReadablePart(std::span<const std::uint8_t> bytes);
  void LookAhead(Part& part) const;
  const std::uint8_t* FindOne(Part& part, StartCodeKernel findStartCode) const;

  StartCodeKernel findStartCode_ = nullptr;
  const std::uint8_t* end_ = nullptr;
  std::size_t count_ = 0;
  /// The last one has what the threads do not look through.
  std::array<Part, kMostParts + 1> parts_;

  // Where Next() is.
  std::size_t part_ = 0;
  std::size_t code_ = 0;
};

}  // namespace qivm
