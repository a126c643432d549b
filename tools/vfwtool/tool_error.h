#pragma once

#include <stdexcept>
#include <string>

namespace qivm {

/// What the process returns to its caller; listed in the tool's help text.
enum class ExitCode : int {
  kOk = 0,
  kError = 1,      ///< Anything that no other code names (out of memory, for instance).
  kUsage = 2,      ///< The command line was wrong; nothing was touched.
  kInput = 3,      ///< The input could not be read, or is of a kind that the command does not take.
  kCodec = 4,      ///< No codec for the job is installed, or it refused or failed.
  kOutput = 5,     ///< The output could not be written.
  kSizeLimit = 6,  ///< The output reached the most an AVI holds; it was closed and can be played.
  kInterrupted = 7,  ///< The user stopped it; what there is of the output can be played.
};

/// A failure that ends the command: a message in plain words and the code to exit with.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace qivm
