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

  /// One thread's part in the frames, as the work there sees it.
  class Seat {
   public:
    /// From 0, the calling thread's, to one less than the crew's Seats().
    unsigned Number() const { return number_; }

    /// The next row that nobody has claimed yet, or kNoRow. Half of the seats claim from the first
    /// row on, the others from the last one back: two threads then get nearly the same rows in
    /// every frame and find those rows' memory in their own caches.
    int ClaimRow() noexcept;
    /// From a row that the seat has claimed to the one that it is likely to claim next.
    int Step() const { return FromLast() ? -1 : 1; }

    /// For work that has several rows in hand: how much of them it has still to do, in parts that
    /// are the same for all rows of a frame. It is 0 when the work begins.
    void SetInHand(int parts) { inHand_.store(parts, std::memory_order_relaxed); }
    /// Whether the work should claim one more row. With others in hand it should not when that
    /// would have the other seats wait for it at the frame's end.
    bool ShouldClaimMore(int partsOfRow) const noexcept;

   private:
    friend class RowCrew;

    bool FromLast() const { return number_ % 2 != 0; }

    RowCrew* crew_ = nullptr;
    unsigned number_ = 0;
    std::atomic<int> inHand_ = 0;
  };

  /// Claims rows and works on them until there are none. After a fault it is called again for the
  /// same seat.
  using Work = void (*)(void* context, Seat& seat);

  RowCrew();
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

  /// Each in a line of the cache of its own, for they are written at every macroblock.
  struct alignas(64) SeatLine {
    Seat seat;
  };
  std::array<SeatLine, kMaxSeats> lines_;
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

inline int RowCrew::Seat::ClaimRow() noexcept {
  std::atomic<std::uint32_t>& counter = crew_->claims_;
  std::uint32_t claims = counter.load(std::memory_order_relaxed);
  // Read first, so that threads that ask again and again cannot count the rows around.
  if (Count(claims) < crew_->rows_) {
    claims = counter.fetch_add(FromLast() ? kClaimFromLast : 1, std::memory_order_relaxed);
  }
  if (Count(claims) >= crew_->rows_) {
    return kNoRow;
  }
  return FromLast() ? crew_->rows_ - 1 - static_cast<int>(claims / kClaimFromLast)
                    : static_cast<int>(claims % kClaimFromLast);
}

}  // namespace qivm
