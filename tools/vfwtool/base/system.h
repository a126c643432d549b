#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

/// What the tool needs of the system it runs on: one header, two implementations.
namespace vfwtool {

/// What a command talks to. Results go to `output`, progress and complaints to `errors`.
struct ToolStreams {
  std::istream& input;
  std::ostream& output;
  std::ostream& errors;
  bool errorsAreTerminal = false;  ///< Progress may rewrite its line.
};

/// The process's own streams. While it lives, a console shows UTF-8, in which the tool prints, and
/// a pipe whose reader is gone is an error to report instead of the process's end. There is at most
/// one.
class ProcessStreams {
 public:
  ProcessStreams();
  ProcessStreams(const ProcessStreams&) = delete;
  ProcessStreams& operator=(const ProcessStreams&) = delete;
  ~ProcessStreams();

  static ToolStreams Streams();
};

/// The standard streams as streams of bytes: on Windows the C runtime takes them for text at first.
std::istream& BinaryInput(const ToolStreams& streams);
std::ostream& BinaryOutput(const ToolStreams& streams);

/// While it lives, Ctrl-C and the closing of the console do not end the process but are noted, so
/// that the work can be completed as far as it came. There is at most one; what it noted ends with
/// it.
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

#ifdef _WIN32
/// UTF-16, as Windows has it, to UTF-8, as the tool has it, and back. What is no valid text is
/// replaced by the replacement character.
std::string Utf8(std::wstring_view text);
std::wstring Utf16(std::string_view text);
#endif

}  // namespace vfwtool
