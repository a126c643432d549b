#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "tests/ui/dialog_test.h"

namespace qivm::test {
namespace {

// Letter by letter: people tell generations of drivers apart by what is said here.
constexpr const char* kIFramesText =
    "Norvane MPEG2 I-frames, version 3.06\n\n"
    "This driver decompresses MPEG-2 video that consists of I frames only and carries the code "
    "\"QIVM\". It also decompresses such video under other codes, for example \"MMES\", if they "
    "are entered in the list box of the configuration dialog. It is compatible with the MPEG-2 "
    "I-frame codec of another maker that uses the code \"MMES\".\n\n"
    "Build: 07 april 2003";
constexpr const char* kGeneralText =
    "Norvane MPEG2 codecs, version 3.06\n\n"
    "Drivers for MPEG-2 video that work through Video for Windows on Windows 95/98/ME/NT/2000. "
    "They belong to the software suite of the Meridel video board: with them, every program that "
    "uses Video for Windows can play MPEG-2 video on that board.\n\n"
    "Build: 07 april 2003";
constexpr const char* kNoBuildLine = "\n\nBuild: not available.";

class AboutBoxTest : public DialogTest {
 protected:
  std::string AboutText(const Instance& instance) const {
    ModalCall call = CallAbout(instance);
    const Window about = call.Dialog(kAboutTitle);
    std::string text = about.Text(IDC_ABOUT_TEXT);
    about.Click(IDOK);
    call.Result();
    return text;
  }
};

TEST_F(AboutBoxTest, ShowsTheIFramesTextForTheCodecsOwnCode) {
  const Instance instance(driver_, kQivmCode);
  EXPECT_EQ(AboutText(instance), kIFramesText);
}

TEST_F(AboutBoxTest, ShowsTheGeneralTextForAnyOtherCode) {
  const Instance instance(driver_, kMmesCode);
  EXPECT_EQ(AboutText(instance), kGeneralText);
}

TEST_F(AboutBoxTest, OkIsOne) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  call.Dialog(kAboutTitle).Click(IDOK);
  EXPECT_EQ(call.Result(), 1);
}

TEST_F(AboutBoxTest, CancelIsZero) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  call.Dialog(kAboutTitle).Click(IDCANCEL);
  EXPECT_EQ(call.Result(), 0);
}

TEST_F(AboutBoxTest, EnterIsOk) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  call.Dialog(kAboutTitle);
  call.PressKey(VK_RETURN);
  EXPECT_EQ(call.Result(), 1);
}

TEST_F(AboutBoxTest, EscapeIsCancel) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  call.Dialog(kAboutTitle);
  call.PressKey(VK_ESCAPE);
  EXPECT_EQ(call.Result(), 0);
}

TEST_F(AboutBoxTest, TheCloseBoxIsCancel) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  call.Dialog(kAboutTitle).PushCloseBox();
  EXPECT_EQ(call.Result(), 0);
}

TEST_F(AboutBoxTest, TheTabKeyGoesFromButtonToButton) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  const Window about = call.Dialog(kAboutTitle);
  EXPECT_EQ(call.TabOrder(), (std::vector{IDOK, IDCANCEL}));
  about.Click(IDCANCEL);
  call.Result();
}

TEST_F(AboutBoxTest, IsModal) {
  const Instance instance(driver_);
  ModalCall call = CallAbout(instance);
  const Window about = call.Dialog(kAboutTitle);
  EXPECT_EQ(about.Owner().Handle(), call.Parent().Handle());
  EXPECT_FALSE(call.Parent().Enabled());
  about.Click(IDOK);
  call.Result();
}

/// Replaces every `what` of a file, which must have it, by `replacement` of the same length.
void Replace(std::string& file, const std::u16string& what, const std::u16string& replacement) {
  const std::string_view old(reinterpret_cast<const char*>(what.data()), what.size() * 2);
  const std::string_view fresh(reinterpret_cast<const char*>(replacement.data()), old.size());
  std::size_t found = file.find(old);
  EXPECT_NE(found, std::string::npos);
  for (; found != std::string::npos; found = file.find(old, found)) {
    file.replace(found, old.size(), fresh);
  }
}

/// Makes the version block of a library's file a resource of another type.
void HideVersionBlock(std::string& file) {
  constexpr WORD kVersionType = 16;
  IMAGE_SECTION_HEADER section = {};
  const std::size_t header = file.find(std::string(".rsrc\0\0\0", IMAGE_SIZEOF_SHORT_NAME));
  ASSERT_NE(header, std::string::npos);
  std::memcpy(&section, &file[header], sizeof section);
  IMAGE_RESOURCE_DIRECTORY directory = {};
  std::memcpy(&directory, &file[section.PointerToRawData], sizeof directory);
  std::size_t changed = 0;
  for (std::size_t i = 0; i < directory.NumberOfIdEntries; ++i) {
    IMAGE_RESOURCE_DIRECTORY_ENTRY entry = {};
    char* const place = &file[section.PointerToRawData + sizeof directory + i * sizeof entry];
    std::memcpy(&entry, place, sizeof entry);
    if (entry.Id == kVersionType) {
      entry.Id = kVersionType + 1;
      std::memcpy(place, &entry, sizeof entry);
      ++changed;
    }
  }
  EXPECT_EQ(changed, 1U);
}

/// A copy of the driver's file that was changed before it was loaded.
class ChangedDriver {
 public:
  explicit ChangedDriver(const std::function<void(std::string& file)>& change) {
    std::ifstream original(DriverPath(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(original)), std::istreambuf_iterator<char>());
    change(bytes);
    std::ofstream file(path_, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    EXPECT_TRUE(file);
    module_ = LoadLibraryA(path_.c_str());
    EXPECT_NE(module_, nullptr) << GetLastError();
    function_ = reinterpret_cast<DriverProcFunction>(
        reinterpret_cast<void*>(GetProcAddress(module_, "DriverProc")));
  }
  ~ChangedDriver() {
    FreeLibrary(module_);
    EXPECT_NE(DeleteFileA(path_.c_str()), FALSE) << path_;
  }
  ChangedDriver(const ChangedDriver&) = delete;
  ChangedDriver& operator=(const ChangedDriver&) = delete;

  /// The last line of the about box.
  std::string BuildLine() const {
    ICOPEN open = {};
    open.fccHandler = kQivmCode;
    const auto id =
        static_cast<DWORD_PTR>(function_(0, nullptr, DRV_OPEN, 0, reinterpret_cast<LPARAM>(&open)));
    ModalCall call([&](HWND parent) {
      return function_(id, nullptr, ICM_ABOUT, reinterpret_cast<LPARAM>(parent), 0);
    });
    const Window about = call.Dialog(kAboutTitle);
    const std::string text = about.Text(IDC_ABOUT_TEXT);
    about.Click(IDOK);
    call.Result();
    function_(id, nullptr, DRV_CLOSE, 0, 0);
    return text.substr(text.rfind("\n\n"));
  }

 private:
  std::string path_ = DriverPath() + ".changed.dll";
  HMODULE module_ = nullptr;
  DriverProcFunction function_ = nullptr;
};

TEST_F(AboutBoxTest, FindsTheBuildInACopyOfTheDriver) {
  const ChangedDriver later(
      [](std::string& file) { Replace(file, u"07 april 2003", u"08 march 2004"); });
  EXPECT_EQ(later.BuildLine(), "\n\nBuild: 08 march 2004");
}

TEST_F(AboutBoxTest, HasNoBuildWithoutAVersionBlock) {
  EXPECT_EQ(ChangedDriver(HideVersionBlock).BuildLine(), kNoBuildLine);
}

TEST_F(AboutBoxTest, HasNoBuildWithoutItsEntry) {
  const ChangedDriver nameless(
      [](std::string& file) { Replace(file, u"SpecialBuild", u"PatientBuild"); });
  EXPECT_EQ(nameless.BuildLine(), kNoBuildLine);
}

TEST_F(AboutBoxTest, HasNoBuildInAnotherLanguage) {
  // The words of the one translation: U.S. English and Unicode; German and Unicode.
  using std::string_literals::operator""s;
  const ChangedDriver german([](std::string& file) {
    Replace(file, u"Translation\0\0\u0409\u04b0"s, u"Translation\0\0\u0407\u04b0"s);
  });
  EXPECT_EQ(german.BuildLine(), kNoBuildLine);
}

}  // namespace
}  // namespace qivm::test
