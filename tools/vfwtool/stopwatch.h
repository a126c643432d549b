#pragma once

#include <chrono>

namespace qivm {

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

}  // namespace qivm
