#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <span>

namespace qivm::ui {

/// Turns pairs of descriptions and patterns, "TEXT|PATTERN|TEXT|PATTERN|", into the form that the
/// system's file dialogs take: every part ends in a NUL, the last in two.
template <std::size_t size>
constexpr std::array<char, size> FileFilter(const char (&pairs)[size]) {
  std::array<char, size> filter = {};
  for (std::size_t i = 0; i < size; ++i) {
    filter[i] = pairs[i] == '|' ? '\0' : pairs[i];
  }
  return filter;
}

/// How to ask for a file. The buffers belong to the caller.
struct FileQuestion {
  HWND owner;
  const char* title;
  /// Made by FileFilter; the first pair is chosen at first.
  const char* filter;
  /// Where the dialog begins; null leaves it to the system.
  const char* initialFolder;
  /// What is appended to a name that is entered without one; null for nothing.
  const char* defaultExtension;
  /// What the dialog shows as the name at first; the answer's path.
  std::span<char> path;
  /// The answer's name without its folder.
  std::span<char> fileTitle;
};

/// Asks the user for an existing file. False when the user cancels or the system cannot ask; the
/// buffers then hold nothing of use.
bool AskForFile(const FileQuestion& question);

}  // namespace qivm::ui
