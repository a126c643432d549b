#pragma once

#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace qivm::test {

/// Sees every access violation of the process before the driver's own guards do, on whichever
/// thread it happens, and ends the program when it is not one that some lane has announced. So an
/// access outside the buffers that the host gave is found although the driver would survive it.
/// Each host thread announces in a lane of its own.
class AccessWatch {
 public:
  static constexpr std::size_t kLanes = 16;
  static constexpr std::size_t kRanges = 4;
  static constexpr int kExitCode = 3;

  /// `describe` prints what is going on, before the program ends.
  explicit AccessWatch(void (*describe)());
  ~AccessWatch();
  AccessWatch(const AccessWatch&) = delete;
  AccessWatch& operator=(const AccessWatch&) = delete;

  /// What may fault during one call, until it is destroyed.
  class Announcement {
   public:
    explicit Announcement(std::size_t lane) : lane_(lane) {}
    ~Announcement();
    Announcement(const Announcement&) = delete;
    Announcement& operator=(const Announcement&) = delete;

    /// Memory that the host passed but that cannot be accessed.
    void Add(const void* memory, std::size_t size);

   private:
    std::size_t lane_;
    std::size_t ranges_ = 0;
  };

  /// Announces one access to address zero on the calling thread: the fault by which the codec
  /// leaves a frame that it turns away. What it says to the debugger of such a frame is the only
  /// reason.
  static void AnnounceNull();
  /// Whether that access is still to come.
  static bool NullIsDue();

  /// Announced faults that have happened.
  static std::uint64_t Faults();
};

}  // namespace qivm::test
