#include "tests/ui/file_choice.h"

#include <array>
#include <fstream>
#include <gtest/gtest.h>

namespace qivm::test {
namespace {

// Controls of the system's file dialog, as its published header numbers them.
constexpr int kFileNameId = 0x47c;
constexpr int kFilterId = 0x470;

}  // namespace

FileFolder::FileFolder() {
  std::array<char, MAX_PATH> buffer = {};
  GetTempPathA(static_cast<DWORD>(buffer.size()), buffer.data());
  // A run that was ended halfway may have left folders behind.
  int number = 0;
  do {
    path_ = buffer.data() + std::string("qivm-test-") + std::to_string(++number);
    SetLastError(ERROR_SUCCESS);
  } while (!CreateDirectoryA(path_.c_str(), nullptr) && GetLastError() == ERROR_ALREADY_EXISTS);
  EXPECT_NE(GetFileAttributesA(path_.c_str()), INVALID_FILE_ATTRIBUTES) << path_;
  GetCurrentDirectoryA(static_cast<DWORD>(buffer.size()), buffer.data());
  currentFolder_ = buffer.data();
}

FileFolder::~FileFolder() {
  EXPECT_NE(SetCurrentDirectoryA(currentFolder_.c_str()), FALSE) << currentFolder_;
  for (const std::string& file : files_) {
    EXPECT_NE(DeleteFileA(file.c_str()), FALSE) << file;
  }
  EXPECT_NE(RemoveDirectoryA(path_.c_str()), FALSE) << path_;
}

std::string FileFolder::MakeFile(const std::string& name) {
  files_.push_back(Path(name));
  EXPECT_TRUE(std::ofstream(files_.back())) << files_.back();
  return files_.back();
}

std::string FileDialog::FileName() const { return window_.Text(kFileNameId); }

std::vector<std::string> FileDialog::Filters() const {
  const Window list = window_.Child(kFilterId);
  std::vector<std::string> filters;
  const auto count = static_cast<WPARAM>(list.Send(CB_GETCOUNT));
  for (WPARAM index = 0; index < count; ++index) {
    std::string text(static_cast<std::size_t>(list.Send(CB_GETLBTEXTLEN, index)) + 1, '\0');
    list.Send(CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(text.data()));
    filters.emplace_back(text.c_str());
  }
  return filters;
}

int FileDialog::ChosenFilter() const {
  return static_cast<int>(window_.Child(kFilterId).Send(CB_GETCURSEL));
}

void FileDialog::Enter(const std::string& path) const {
  window_.SetText(kFileNameId, path);
  window_.ClickToOpen(IDOK);
}

void FileDialog::Choose(const std::string& path) const {
  Enter(path);
  window_.WaitUntilClosed();
}

void FileDialog::Cancel() const {
  window_.ClickToOpen(IDCANCEL);
  window_.WaitUntilClosed();
}

}  // namespace qivm::test
