#include "tests/ui/dialog_test.h"

namespace qivm::test {
namespace {

/// The file time of the key's last change; 0 when there is no such key.
ULONGLONG LastWriteTime(const char* path) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return 0;
  }
  FILETIME time = {};
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                   nullptr, nullptr, &time);
  RegCloseKey(key);
  return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

}  // namespace

Names NumberedNames(int count) {
  Names names;
  for (int i = 0; i < count; ++i) {
    names.push_back({'N', static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)});
  }
  return names;
}

std::array<FourCC, kMaxFourCCs> NumberedCodes(int count) {
  std::array<FourCC, kMaxFourCCs> codes = {};
  std::size_t index = 0;
  for (const std::string& name : NumberedNames(count)) {
    codes[index++] = MakeFourCC(name[0], name[1], name[2], ' ');
  }
  return codes;
}

CodecSettings StateOf(const Instance& instance) {
  CodecSettings settings = {};
  EXPECT_EQ(instance.Send(ICM_GETSTATE, &settings, LPARAM{sizeof settings}), ICERR_OK);
  return settings;
}

std::vector<unsigned char> Bytes(const CodecSettings& settings) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&settings);
  return {bytes, bytes + sizeof settings};
}

void SetState(const Instance& instance, const CodecSettings& settings) {
  CodecSettings copy = settings;
  EXPECT_EQ(instance.Send(ICM_SETSTATE, &copy, LPARAM{sizeof copy}), LRESULT{sizeof copy});
}

KeyContent::KeyContent(const char* path) : lastWrite_(LastWriteTime(path)) {
  const auto tree = ReadTree(path);
  if (tree) {
    for (const RegistryValue& value : tree->values) {
      values_.push_back(value.name + '\n' + std::to_string(value.type) + '\n' +
                        std::string(value.data.begin(), value.data.end()));
    }
  }
}

DialogTest::DialogTest() {
  DeleteTree("Software\\Norvane");
  DeleteTree("Software\\Pellaro");
  driver_.Reload();
}

ModalCall DialogTest::CallLauncher() const {
  return ModalCall([this](HWND parent) { return driver_.Send(0, DRV_CONFIGURE, parent, 0); });
}

ModalCall DialogTest::CallEditor(const Instance& instance) const {
  return ModalCall(
      [&instance](HWND parent) { return instance.Send(ICM_CONFIGURE, parent, LPARAM{0}); });
}

ModalCall DialogTest::CallAbout(const Instance& instance) const {
  return ModalCall(
      [&instance](HWND parent) { return instance.Send(ICM_ABOUT, parent, LPARAM{0}); });
}

void DialogTest::CheckMessageBox(const ModalCall& call, const Window& owner,
                                 const std::string& caption, const std::string& text,
                                 const char* icon) {
  const Window box = call.Dialog(caption);
  EXPECT_EQ(box.Owner().Handle(), owner.Handle());
  EXPECT_FALSE(owner.Enabled());
  Names buttons;
  Names texts;
  std::vector<LRESULT> icons;
  for (const Window& child : box.Children()) {
    const bool shown = (child.Style() & WS_VISIBLE) != 0;
    if (shown && child.ClassName() == "Button") {
      buttons.push_back(child.Text());
    } else if (shown && (child.Style() & SS_TYPEMASK) == SS_ICON) {
      icons.push_back(child.Send(STM_GETICON));
    } else if (shown) {
      texts.push_back(child.Text());
    }
  }
  EXPECT_EQ(buttons, Names{"OK"});
  EXPECT_EQ(texts, Names{text});
  EXPECT_EQ(icons, std::vector{reinterpret_cast<LRESULT>(LoadIconA(nullptr, icon))});
  box.Click(box.Child(IDOK).Exists() ? IDOK : IDCANCEL);
  box.WaitUntilClosed();
}

}  // namespace qivm::test
