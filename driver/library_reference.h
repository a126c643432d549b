#pragma once

#include <windows.h>

namespace qivm {

/// Keeps this library loaded while it is held. A helper thread sleeps inside the library's code: a
/// host that unloads the library without ending its contexts would pull that code from under it.
/// Such a library then stays until the process ends. Only a call of the host's, who has it loaded,
/// lets a reference go, so it is never the last one.
class LibraryReference {
 public:
  LibraryReference() = default;
  ~LibraryReference() { LetGo(); }
  LibraryReference(const LibraryReference&) = delete;
  LibraryReference& operator=(const LibraryReference&) = delete;

  /// Takes the reference, if it is not held already; false when the system refuses it.
  bool Hold();
  void LetGo();

 private:
  HMODULE library_ = nullptr;
};

}  // namespace qivm
