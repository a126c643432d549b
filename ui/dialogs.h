#pragma once

#include <windows.h>

#include "settings/codec_settings.h"

/// The codec's modal dialogs. Each returns what DialogBoxParamA returned: the dialog's result, or
/// -1 when the system cannot show it.
namespace qivm::ui {

/// The process-level settings dialog (resource 101), which saves the settings when it is closed.
INT_PTR ShowLauncher(HWND parent);

/// The settings editor (resource 103) on `settings`, which it changes on OK only. 1 for OK, 0 for
/// Cancel.
INT_PTR ShowSettingsEditor(HWND parent, CodecSettings& settings);

/// The list of host programs that get RGB only (resource 106); OK saves it.
INT_PTR ShowDefectiveApps(HWND parent);

/// The about box (resource 102); `code` chooses the text.
INT_PTR ShowAbout(HWND parent, FourCC code);

}  // namespace qivm::ui
