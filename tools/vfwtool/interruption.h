#pragma once

#include <windows.h>

namespace qivm {

/// While it lives, Ctrl-C, Ctrl-Break and the closing of the console do not end the process but are
/// noted, so that the work can be completed as far as it came. There is at most one.
class InterruptionWatch {
 public:
  InterruptionWatch();
  InterruptionWatch(const InterruptionWatch&) = delete;
  InterruptionWatch& operator=(const InterruptionWatch&) = delete;
  ~InterruptionWatch();

  /// The user wants the work to end.
  static bool IsRequested();

  /// While it lives, the thread reads input, and an interruption ends a read that waits for more.
  class Reading {
   public:
    Reading();
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading();
  };
};

}  // namespace qivm
