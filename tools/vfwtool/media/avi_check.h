#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/vfwtool/media/avi_reader.h"

namespace vfwtool {

/// Something that is wrong with an AVI.
struct AviFinding {
  std::optional<std::uint32_t> frame{};   ///< Of the video, counted from 0, if it is about one.
  std::optional<std::uint64_t> offset{};  ///< In the file.
  std::string what;
};
using AviFindings = std::function<void(AviFinding)>;

/// Checks how an AVI is put together: that its segments, lists and chunks have the sizes that they
/// state, that both kinds of index lead to all chunks and to nothing else, and that the headers
/// agree with them and with each other. Tells `report` what is wrong, in the order in which it is
/// found.
void CheckStructure(const AviReader& reader, const AviFindings& report);

/// The part of it that is about the list of headers ("hdrl"), lengths apart.
void CheckHeaders(const AviReader& reader, const RiffChunk& list, const AviFindings& report);

/// What is wrong with the size that a chunk at `position` states, in what ends at `end`; empty when
/// nothing is.
std::string WrongSizeText(const RiffChunk& chunk, std::uint64_t position, std::uint64_t end);

}  // namespace vfwtool
