#pragma once

#include "tests/ui/dialog_test.h"

namespace qivm::test {

/// The editor of one instance's settings, which are the defaults.
class SettingsEditorTest : public DialogTest {
 protected:
  static Window Open(const ModalCall& call) { return call.Dialog(kEditorTitle); }
  static void AddCode(const Window& editor, const std::string& code) {
    editor.SetText(IDC_CODE_EDIT, code);
    editor.Click(IDC_CODE_ADD);
  }
  static void AddApplication(const Window& editor, const std::string& name) {
    editor.SetText(IDC_APP_EDIT, name);
    editor.Click(IDC_APP_ADD);
  }

  const Instance instance_{driver_};
};

}  // namespace qivm::test
