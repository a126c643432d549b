#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace vfwtool {

/// Adds up the time between Start and Stop. On Windows the steady clock is the performance
/// counter, fine enough for a single small frame.
class Stopwatch {
 public:
  void Start() { start_ = Clock::now(); }
  void Stop() { total_ += Clock::now() - start_; }

  /// The seconds between all pairs of Start and Stop so far.
  double Seconds() const { return std::chrono::duration<double>(total_).count(); }

  /// The seconds since the last Start, whether stopped or not.
  double SecondsSinceStart() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
  }

 private:
  using Clock = std::chrono::steady_clock;

  Clock::time_point start_ = Clock::now();
  Clock::duration total_{};
};

/// Runs a stopwatch for as long as it lives.
class TimedSection {
 public:
  explicit TimedSection(Stopwatch& stopwatch) : stopwatch_(stopwatch) { stopwatch_.Start(); }
  TimedSection(const TimedSection&) = delete;
  TimedSection& operator=(const TimedSection&) = delete;
  ~TimedSection() { stopwatch_.Stop(); }

 private:
  Stopwatch& stopwatch_;
};

/// Tells the user how far a long step is: frames done, share, frames per second, time left.
/// Says nothing in the first second, so that short steps stay silent.
class Progress {
 public:
  enum class Style {
    kSilent,
    kLines,     ///< A line now and then, for logs.
    kTerminal,  ///< One line, rewritten often.
  };

  /// `errors` must outlive the object. `total` is the number of frames, where it is known.
  Progress(std::ostream& errors, Style style, std::optional<std::uint64_t> total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Takes a rewritten line off the terminal.
  ~Progress();

  /// To be called after every frame; `seconds` have passed since the first one began.
  void Update(std::uint64_t done, double seconds);

 private:
  std::string Line(std::uint64_t done, double seconds) const;

  std::ostream& errors_;
  Style style_;
  std::optional<std::uint64_t> total_;
  double nextReport_ = 1.0;
  std::size_t shownLength_ = 0;
};

}  // namespace vfwtool
