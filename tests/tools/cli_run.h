#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/tools/temporary_file.h"
#include "tools/vfwtool/base/error.h"

namespace vfwtool {

/// What a run of vfwtool.exe left.
struct CliRun {
  unsigned long exitCode = 0;
  std::string output;  ///< The standard output's bytes.
  std::string errors;  ///< Likewise.

  /// The output with the line ends of a text file taken for "\n".
  std::string OutputText() const;
  std::string ErrorText() const;
};

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

/// The vfwtool.exe beside the test program, running with these arguments (UTF-8, without quotation
/// marks) and an inheritable handle as standard input.
class CliProcess {
 public:
  enum class Console { kShared, kOwn };

  CliProcess(const std::vector<std::string>& arguments, OwnedHandle input, Console console);

  /// Sends it, which must have a console of its own, what the keyboard would.
  void PressControlC() const;

  /// Waits until it has ended.
  CliRun Wait();

 private:
  TemporaryFile output_{".stdout"};
  TemporaryFile errors_{".stderr"};
  OwnedHandle process_;
  unsigned long id_ = 0;
};

/// A pipe whose reading end is a program's standard input.
class InputPipe {
 public:
  InputPipe();

  /// The reading end, to be given away.
  OwnedHandle TakeReading() { return std::move(reading_); }
  void Write(const std::string& bytes) const;

 private:
  OwnedHandle reading_;
  OwnedHandle writing_;
};

/// Runs the vfwtool.exe beside the test program with these arguments (UTF-8, without quotation
/// marks) and the file `input`, where it is given, as standard input.
CliRun RunCli(const std::vector<std::string>& arguments, const std::string& input = {});

/// The run ended well and had no complaints.
void ExpectSuccess(const CliRun& run);

/// The run ended with that code, `message` in its complaints and nothing on the standard output.
void ExpectFailure(const CliRun& run, ExitCode code, const std::string& message);

/// The path of a file beside the test program.
std::wstring BesideTest(const std::wstring& file);

}  // namespace vfwtool
