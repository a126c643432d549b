#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

/// The text of the about box and the look-up of the build in the library's version block.
namespace qivm::ui {

/// A version block, as the resource compiler makes it.
class VersionBlock {
 public:
  /// The value at a path such as "\VarFileInfo\Translation": a text's characters in the ANSI code
  /// page, with or without the NUL, or the bytes of any other value; empty when there is none.
  virtual std::span<const char> Value(const char* path) const = 0;

 protected:
  ~VersionBlock() = default;
};

/// A NUL-terminated text.
using BuildValue = std::array<char, 1024>;

/// What takes the build's place when it cannot be found out.
constexpr std::string_view kNoBuild = "not available.";

/// The "SpecialBuild" entry of the block's U.S. English, Unicode texts, or kNoBuild.
BuildValue FindBuild(const VersionBlock& block);

/// Puts "TEXT", a blank line and "LABEL: BUILD" together in `out`, which must not be empty. What
/// does not fit is cut off.
void ComposeAboutText(std::span<char> out, std::string_view text, std::string_view label,
                      std::string_view build);

}  // namespace qivm::ui
