#pragma once

#include <string>

#include "tests/ui/modal_call.h"

namespace qivm::test {

/// A folder for the files that a test lets the user choose; gone, with its files, at the end of its
/// scope. The current folder, which the system's file dialog changes, is then what it was.
class FileFolder {
 public:
  FileFolder();
  ~FileFolder();
  FileFolder(const FileFolder&) = delete;
  FileFolder& operator=(const FileFolder&) = delete;

  /// Makes an empty file and returns its whole path.
  std::string MakeFile(const std::string& name);
  std::string Path(const std::string& name) const { return path_ + '\\' + name; }

 private:
  std::string path_;
  std::string currentFolder_;
  std::vector<std::string> files_;
};

/// The system's dialog that asks for a file.
class FileDialog {
 public:
  /// Waits until the call shows a file dialog with this title.
  FileDialog(const ModalCall& call, const std::string& title) : window_(call.Dialog(title)) {}

  const Window& Get() const { return window_; }
  /// What the edit for the file's name shows.
  std::string FileName() const;
  /// The descriptions in the list of file types.
  std::vector<std::string> Filters() const;
  /// The place in that list of the one in force.
  int ChosenFilter() const;

  /// Enters a path and pushes "Open"; the dialog need not close.
  void Enter(const std::string& path) const;
  /// Enters a path, pushes "Open" and waits until the dialog is gone.
  void Choose(const std::string& path) const;
  /// Pushes "Cancel" and waits until the dialog is gone.
  void Cancel() const;

 private:
  Window window_;
};

}  // namespace qivm::test
