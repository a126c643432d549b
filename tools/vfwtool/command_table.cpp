#include "tools/vfwtool/command_table.h"

#include <array>

namespace qivm {

std::span<const Command* const> AllCommands() {
  static constexpr std::array kCommands = {
      &kRecordCommand,     //
      &kPlayCommand,       //
      &kInfoCommand,       //
      &kExportCommand,     //
      &kImportCommand,     //
      &kCompareCommand,    //
      &kBenchCommand,      //
      &kDiagnoseCommand,   //
      &kConfigureCommand,  //
      &kAboutCommand,      //
  };
  return kCommands;
}

}  // namespace qivm
