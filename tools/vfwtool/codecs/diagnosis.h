#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/codecs/codec.h"
#include "tools/vfwtool/media/bytes.h"

namespace vfwtool {

/// How a code is registered for the programs of one bitness.
struct CodecRegistration {
  unsigned bits = 32;          ///< Of the programs.
  bool mayWrite = false;       ///< This user could change the registration.
  std::string registered{};    ///< The file that is registered; empty when there is none.
  std::string path{};          ///< Where that file has to be.
  bool exists = false;         ///< It is there.
  unsigned fileBits = 0;       ///< Its bitness; 0 when it is no Windows library.
  bool isTried = false;        ///< The tool, being of this bitness, tried to load it.
  std::string loadError{};     ///< What Windows said; empty when it could be loaded.
  bool hasEntryPoint = false;  ///< It exports DriverProc.
};

/// Why a codec is or is not there for programs.
struct Diagnosis {
  FourCc code = 0;
  unsigned toolBits = 32;
  unsigned systemBits = 32;
  std::vector<CodecRegistration> registrations{};
  bool opensForCompression = false;
  bool opensForDecompression = false;
  std::vector<CodecDescription> answering{};  ///< Which driver answers for which code.

  /// What keeps programs of that bitness from using the codec, with what to do about it; empty when
  /// nothing does.
  std::string Problem(const CodecRegistration& registration) const;

  /// Programs of the tool's own bitness can use the codec.
  bool IsUsable() const;

  /// Several lines for people, each ended.
  std::string Text() const;
  JsonObject Json() const;
};

/// The bitness of a Windows program or library by the header that the file begins with; 0 when it
/// is none.
unsigned ProgramBits(const std::string& name);

/// Looks up what keeps programs from using the codec of that code.
Diagnosis Diagnose(FourCc code);

}  // namespace vfwtool
