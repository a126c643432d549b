#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace qivm {

/// Tells the user how far a long step is: frames done, share, frames per second, time left.
/// Says nothing in the first second, so that short steps stay silent.
class Progress {
 public:
  enum class Style {
    kSilent,
    kLines,     ///< A line now and then, for logs.
    kTerminal,  ///< One line, rewritten often.
  };

  /// `errors` must outlive the object. `total` is the number of frames, where it is known.
  Progress(std::ostream& errors, Style style, std::optional<std::uint64_t> total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Takes a rewritten line off the terminal.
  ~Progress();

  /// To be called after every frame; `seconds` have passed since the first one began.
  void Update(std::uint64_t done, double seconds);

 private:
  std::string Line(std::uint64_t done, double seconds) const;

  std::ostream& errors_;
  Style style_;
  std::optional<std::uint64_t> total_;
  double nextReport_ = 1.0;
  std::size_t shownLength_ = 0;
};

}  // namespace qivm
