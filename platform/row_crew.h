#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/heap_object.h"
#include "platform/platform.h"

namespace qivm {

/// The threads that share the rows of a context's frames: the one that calls and its helpers, which
/// sleep between two frames. Each works at a seat of its own, the calling thread at seat 0, and
/// claims rows from one counter until none is left, so that no row waits for a thread that is busy.
class RowCrew {
 public:
  /// Of more, the last ones would wake up for a row or two of the largest frame.
  static constexpr unsigned kMaxSeats = 64;
  /// The result of a helper's thread once it was asked to leave.
  static constexpr unsigned kExitCode = 12;
  static constexpr int kNoRow = -1;

  /// Claims rows and works on them until there are none. After a fault it is called again for the
  /// same seat.
  using Work = void (*)(void* context, unsigned seat);

  RowCrew() = default;
  ~RowCrew() { Stop(); }
  RowCrew(const RowCrew&) = delete;
  RowCrew& operator=(const RowCrew&) = delete;

  /// Makes the helpers for `seats` seats; fewer when the system refuses one.
  void Start(unsigned seats) noexcept;
  /// Threads that work on a frame, the calling one among them.
  unsigned Seats() const { return seats_; }

  /// Has every row from 0 to `rows` - 1 (below 65536) claimed by a seat's work and waits until
  /// nobody works any more. A fault ends the work on what a seat has claimed; all other rows are
  /// worked on as if it had not been. False when there was one.
  bool Run(int rows, Work work, void* context) noexcept;

  /// For the work at a seat alone: the next row that nobody has claimed yet, or kNoRow. Half of the
  /// seats claim from the first row on, the others from the last one back: two threads then get
  /// nearly the same rows in every frame and find those rows' memory in their own caches.
  int ClaimRow(unsigned seat) noexcept {
    const bool fromLast = seat % 2 != 0;
    std::uint32_t claims = claims_.load(std::memory_order_relaxed);
    // Read first, so that threads that ask again and again cannot count the rows around.
    if (Count(claims) < rows_) {
      claims = claims_.fetch_add(fromLast ? kClaimFromLast : 1, std::memory_order_relaxed);
    }
    if (Count(claims) >= rows_) {
      return kNoRow;
    }
    return fromLast ? rows_ - 1 - static_cast<int>(claims / kClaimFromLast)
                    : static_cast<int>(claims % kClaimFromLast);
  }
  /// From a row that the seat has claimed to the one that it is likely to claim next.
  static constexpr int StepOf(unsigned seat) { return seat % 2 != 0 ? -1 : 1; }

  /// Asks the helpers to leave, waits for them and frees everything.
  void Stop() noexcept;

 private:
  struct Helper : HeapObject {
    RowCrew* crew = nullptr;
    unsigned seat = 0;
    platform::Event start;
    platform::Thread thread;
    std::atomic<bool> stop = false;
  };

  static constexpr std::uint32_t kOpen = 0x80000000;
  static constexpr std::uint32_t kClaimFromLast = 0x10000;

  /// Rows that are claimed, from either end.
  static int Count(std::uint32_t claims) {
    return static_cast<int>(claims % kClaimFromLast + claims / kClaimFromLast);
  }

  static unsigned HelperBody(void* helper);
  bool StartHelper(unsigned seat) noexcept;
  void WorkAt(unsigned seat) noexcept;
  bool Enter() noexcept;
  void Leave() noexcept;
  void WakeFrom(unsigned seat) noexcept;
  void PassOnPriority() noexcept;

  std::array<std::unique_ptr<Helper>, kMaxSeats - 1> helpers_;
  unsigned seats_ = 1;
  platform::Event allLeft_;

  // Of the frame at hand; written by the calling thread while no helper is inside.
  Work work_ = nullptr;
  void* context_ = nullptr;
  int rows_ = 0;
  std::atomic<std::uint32_t> claims_ = 0;  // from the first row on, and kClaimFromLast each
  std::atomic<bool> faulted_ = false;
  /// Whether helpers may still enter the frame, and how many are inside. One that wakes up late
  /// finds the frame closed, and nobody has waited for it.
  std::atomic<std::uint32_t> door_ = 0;

  // The calling thread when its priority was last looked at.
  std::uint32_t caller_ = 0;
  std::uint32_t priorityTime_ = 0;
  platform::ThreadPriority priority_ = 0;
};

}  // namespace qivm
