#pragma once

#include <istream>
#include <ostream>

#include "tools/vfwtool/command.h"

namespace qivm {

/// The standard streams as streams of bytes: on Windows the C runtime takes them for text at first.
std::istream& BinaryInput(const ToolStreams& streams);
std::ostream& BinaryOutput(const ToolStreams& streams);

}  // namespace qivm
