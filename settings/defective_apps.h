#pragma once

#include <windows.h>

#include "settings/defective_app_list.h"

namespace qivm {

/// The list of this process. The query reads it on every call; only the list's dialog changes it.
DefectiveAppList& DefectiveApps();

/// The module whose resources show the list's dialog; recorded by LoadDefectiveAppList.
HINSTANCE DefectiveListModule();

/// Reads the list from the registry; when that fails, installs the default list and saves it.
void LoadDefectiveAppList(HINSTANCE module);

/// Writes the list to the registry.
void SaveDefectiveAppList();

/// Whether the current process is a listed host. A process without a name counts as one.
bool IsDefectiveHost();

}  // namespace qivm
