#pragma once

#include <string>
#include <vector>

#include "tools/vfwtool/tool_error.h"

namespace qivm {

/// What a run of vfwtool.exe left.
struct CliRun {
  unsigned long exitCode = 0;
  std::string output;  ///< The standard output's bytes.
  std::string errors;  ///< Likewise.

  /// The output with the line ends of a text file taken for "\n".
  std::string OutputText() const;
  std::string ErrorText() const;
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

}  // namespace qivm
