#pragma once

#include <string>

#include "tools/vfwtool/four_cc.h"
#include "tools/vfwtool/json.h"

namespace qivm {

/// How an installed codec presents itself; all texts are UTF-8 and may be empty.
struct CodecDescription {
  FourCc code = 0;
  std::string name;         ///< Short, such as "QIVM".
  std::string description;  ///< For lists that a user picks from.
  std::string driver;       ///< The file of the driver, as registered.

  /// "QIVM (description, driver file)" as far as they are known.
  std::string Text() const;
  JsonObject Json() const;
};

}  // namespace qivm
