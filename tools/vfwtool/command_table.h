#pragma once

#include <span>

#include "tools/vfwtool/command.h"

namespace qivm {

// One command a line here and in the table of command_table.cpp, each defined in command_NAME.cpp.
extern const Command kRecordCommand;
extern const Command kPlayCommand;
extern const Command kInfoCommand;
extern const Command kExportCommand;
extern const Command kImportCommand;
extern const Command kCompareCommand;
extern const Command kBenchCommand;
extern const Command kDiagnoseCommand;
extern const Command kConfigureCommand;
extern const Command kAboutCommand;

/// All commands, in the order in which the help text lists them.
std::span<const Command* const> AllCommands();

}  // namespace qivm
