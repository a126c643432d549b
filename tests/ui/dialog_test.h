#pragma once

#include <windows.h>

#include <vfw.h>

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "resources/resource.h"
#include "settings/codec_settings.h"
#include "tests/driver/driver_module.h"
#include "tests/driver/registry_tree.h"
#include "tests/ui/modal_call.h"
#include "tests/ui/window.h"

namespace qivm::test {

/// Titles of the dialogs.
constexpr const char* kLauncherTitle = "Configure your MPEG2";
constexpr const char* kEditorTitle = "Configure Norvane MPEG2 I-frames";
constexpr const char* kDefectiveAppsTitle = "List of defective application";
constexpr const char* kAboutTitle = "About...";

using Names = std::vector<std::string>;

/// Names a test by its parameter's name.
template <typename Parameter>
std::string NameOf(const testing::TestParamInfo<Parameter>& parameter) {
  return parameter.param.name;
}

/// `count` names in alphabetical order, "N00" and so on.
Names NumberedNames(int count);
/// The same as the codes of a settings record, upper-case with a blank behind.
std::array<FourCC, kMaxFourCCs> NumberedCodes(int count);

/// The settings of an instance, its state.
CodecSettings StateOf(const Instance& instance);
/// The same as bytes, for comparisons.
std::vector<unsigned char> Bytes(const CodecSettings& settings);
void SetState(const Instance& instance, const CodecSettings& settings);

/// What a key below HKEY_CLASSES_ROOT holds, to be compared with what it holds later. Tells a value
/// that is written anew from one that was never touched.
class KeyContent {
 public:
  explicit KeyContent(const char* path);
  bool operator==(const KeyContent&) const = default;

 private:
  ULONGLONG lastWrite_ = 0;
  std::vector<std::string> values_;
};

/// Every test begins with a driver that found no settings and made the defaults.
class DialogTest : public testing::Test {
 protected:
  DialogTest();

  ModalCall CallLauncher() const;
  ModalCall CallEditor(const Instance& instance) const;
  ModalCall CallAbout(const Instance& instance) const;

  /// Checks the message box that `call` shows for `owner`, and closes it.
  static void CheckMessageBox(const ModalCall& call, const Window& owner,
                              const std::string& caption, const std::string& text,
                              const char* icon);

  DriverModule driver_;
};

}  // namespace qivm::test
