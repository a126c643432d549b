#pragma once

#include <windows.h>

#include "ui/name_rules.h"

namespace qivm::ui {

/// A sorted list box of a dialog. Refers to the control; its dialog must outlive it.
class ListBox final : public NameList {
 public:
  ListBox(HWND dialog, int id) : window_(GetDlgItem(dialog, id)) {}

  int Count() const override;
  int Selected() const override;
  int Find(const char* name) const override;
  bool Text(int index, std::span<char> text) const override;
  int Add(const char* name) override;
  void Delete(int index) override;
  void Select(int index) override;

 private:
  int Send(UINT message, int index, LPARAM argument) const;

  HWND window_;
};

}  // namespace qivm::ui
