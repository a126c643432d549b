#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/vfwtool/base/text.h"

namespace vfwtool {

/// What the process returns to its caller.
enum class ExitCode : int {
  kOk = 0,
  kError = 1,
  kUsage = 2,
  kInput = 3,
  kCodec = 4,
  kOutput = 5,
  kSizeLimit = 6,
  kInterrupted = 7,
  kDamage = 8,
};

struct ExitCodeMeaning {
  ExitCode code;
  std::string_view meaning;
};
/// As the help text lists them.
inline constexpr std::array kExitCodeMeanings = {
    ExitCodeMeaning{ExitCode::kOk, "done"},
    ExitCodeMeaning{ExitCode::kError, "failed for a reason that has no code of its own"},
    ExitCodeMeaning{ExitCode::kUsage, "the command line is wrong; nothing was touched"},
    ExitCodeMeaning{ExitCode::kInput,
                    "the input cannot be read, or is of a kind that is not taken"},
    ExitCodeMeaning{ExitCode::kCodec, "there is no codec for the job, or it refused or failed"},
    ExitCodeMeaning{ExitCode::kOutput, "the output cannot be written"},
    ExitCodeMeaning{
        ExitCode::kSizeLimit,
        "the output reached the most an AVI holds; it was closed there and can be played"},
    ExitCodeMeaning{ExitCode::kInterrupted,
                    "stopped by Ctrl-C; what was written before was closed and can be played"},
    ExitCodeMeaning{ExitCode::kDamage, "damage was found: by 'verify', or with --keep-going"},
};

/// A failure that ends the command: a message in plain words and the code to exit with.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

/// Throws ToolError (kInput): what is wrong with the input of that name.
template <typename... Parts>
[[noreturn]] void RefuseInput(const std::string& name, const Parts&... why) {
  throw ToolError(ExitCode::kInput, Concat(name, ": ", why...));
}

/// Throws ToolError (kUsage): what is wrong with the command line.
template <typename... Parts>
[[noreturn]] void RefuseUsage(const Parts&... why) {
  throw ToolError(ExitCode::kUsage, Concat(why...));
}

}  // namespace vfwtool
