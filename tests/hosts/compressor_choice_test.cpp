#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/driver_registration.h"
#include "tests/driver/pictures.h"
#include "tests/hosts/leave_picture.h"
#include "tests/ui/modal_call.h"
#include "tests/ui/window_picture.h"

namespace qivm::test {

namespace {

/// The system's dialog in which a user chooses a codec.
class CompressorChoiceTest : public ::testing::Test {
 protected:
  void SetUp() override { variables_.cbSize = sizeof variables_; }
  void TearDown() override { ICCompressorFree(&variables_); }

  LRESULT Choose(HWND parent) {
    return ICCompressorChoose(parent, ICMF_CHOOSE_KEYFRAME, &bitmap_, nullptr, &variables_,
                              nullptr);
  }

  const DriverRegistration registration_{"QIVM"};
  BITMAPINFOHEADER bitmap_ = Header(kRgb24, 320, 240);
  COMPVARS variables_ = {};
};

/// The dialog's list of codecs.
Window CodecList(const Window& dialog) {
  for (const Window& child : dialog.Children()) {
    if (child.ClassName() == "ComboBox") {
      return child;
    }
  }
  throw std::runtime_error("no list of codecs in '" + dialog.Text() + "'");
}

std::vector<std::string> Entries(const Window& list) {
  std::vector<std::string> entries;
  const auto count = static_cast<WPARAM>(list.Send(CB_GETCOUNT));
  for (WPARAM index = 0; index < count; ++index) {
    std::string entry(static_cast<std::size_t>(list.Send(CB_GETLBTEXTLEN, index)) + 1, '\0');
    list.Send(CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(entry.data()));
    entries.emplace_back(entry.c_str());
  }
  return entries;
}

/// Selects an entry as a user does: the dialog is told.
void SelectEntry(const Window& dialog, const Window& list, std::size_t index) {
  list.Send(CB_SETCURSEL, index);
  dialog.Send(WM_COMMAND, MAKEWPARAM(list.Id(), CBN_SELCHANGE),
              reinterpret_cast<LPARAM>(list.Handle()));
}

TEST_F(CompressorChoiceTest, TheCodecCanBeChosen) {
  ModalCall choosing([this](HWND parent) { return Choose(parent); });
  const Window dialog = choosing.TopDialog();
  const Window list = CodecList(dialog);
  const std::vector<std::string> entries = Entries(list);
  const auto entry = std::find(entries.begin(), entries.end(), "Norvane MPEG2 I-frames");
  ASSERT_NE(entry, entries.end()) << ::testing::PrintToString(entries);
  SelectEntry(dialog, list, static_cast<std::size_t>(entry - entries.begin()));
  LeavePicture(WindowPicture(dialog), "compressor-choice");
  dialog.Click(IDOK);

  EXPECT_NE(choosing.Result(), FALSE);
  EXPECT_EQ(variables_.fccHandler, kQivmCode);
  ASSERT_NE(variables_.hic, nullptr);
  EXPECT_EQ(ICCompressQuery(variables_.hic, &bitmap_, nullptr), ICERR_OK);
}

TEST_F(CompressorChoiceTest, CancellingChoosesNothing) {
  ModalCall choosing([this](HWND parent) { return Choose(parent); });
  choosing.TopDialog().Click(IDCANCEL);
  EXPECT_EQ(choosing.Result(), FALSE);
  EXPECT_EQ(variables_.hic, nullptr);
}

}  // namespace

}  // namespace qivm::test
