#include "decoder/start_code_search.h"

#include <algorithm>

#include "kernels/start_codes.h"
#include "mpeg2/start_codes.h"

namespace qivm {

namespace {

constexpr std::ptrdiff_t kPrefixBytes = mpeg2::kStartCodeBytes - 1;
}  // namespace

void StartCodeSearch::Begin(std::span<const std::uint8_t> frame, std::size_t offset,
                            StartCodeKernel findStartCode, RowCrew& crew) {
  findStartCode_ = findStartCode;
  const std::span<const std::uint8_t> bytes = frame.subspan(offset);
  end_ = bytes.data() + bytes.size();
  const std::span<const std::uint8_t> readable = ReadablePart(bytes);
  const auto ahead = std::clamp<std::size_t>(readable.size() / kFewestBytes, 1, kMostParts);
  count_ = ahead + 1;
  for (std::size_t i = 0; i < count_; ++i) {
    Part& part = parts_[i];
    const auto border = [&](std::size_t before) {
      return readable.data() +
             (before < ahead ? readable.size() / ahead * before : readable.size());
    };
    part.rest = border(i);
    // The last prefix may reach into the next part.
    part.end = i < ahead && end_ - border(i + 1) > kPrefixBytes - 1
                   ? border(i + 1) + kPrefixBytes - 1
                   : end_;
    part.found = 0;
  }
  part_ = 0;
  code_ = 0;
  constexpr RowCrew::Work kLookAhead = [](void* self, RowCrew::Seat& seat) {
    auto& search = *static_cast<StartCodeSearch*>(self);
    for (int part = seat.ClaimRow(); part != RowCrew::kNoRow; part = seat.ClaimRow()) {
      search.LookAhead(search.parts_[static_cast<std::size_t>(part)]);
    }
  };
  crew.Run(static_cast<int>(ahead), kLookAhead, this);
}

/// The bytes in front of the first page that cannot be read. Nothing behind it is looked at, for it
/// may be anybody's.
std::span<const std::uint8_t> StartCodeSearch::ReadablePart(std::span<const std::uint8_t> bytes) {
  const std::uint8_t* const end = bytes.data() + bytes.size();
  // Volatile, for a fault leaves the loop.
  const std::uint8_t* volatile readable = bytes.data();
  auto touch = [&readable, end] {
    while (end - readable > std::ptrdiff_t{platform::kPageBytes}) {
      static_cast<void>(*static_cast<const volatile std::uint8_t*>(readable));
      readable = readable + platform::kPageBytes;
    }
    readable = end;
  };
  platform::RunGuarded(touch);
  return {bytes.data(), readable};
}

/// Keeps as many start codes of a part as there is room for.
void StartCodeSearch::LookAhead(Part& part) const {
  while (part.found < kKept) {
    const std::uint8_t* const code = FindOne(part, findStartCode_);
    if (code == end_) {
      return;
    }
    part.codes[part.found++] = code;
  }
}

/// The first start code in what is left of a part, or the frame's end.
const std::uint8_t* StartCodeSearch::FindOne(Part& part, StartCodeKernel findStartCode) const {
  const std::uint8_t* const code = findStartCode(part.rest, part.end);
  if (code == part.end) {
    part.rest = part.end;
    return end_;
  }
  // A value of 0, which damage in the zero bytes before a slice leaves, can be a code's first byte.
  part.rest = code + kPrefixBytes;
  return code;
}

const std::uint8_t* StartCodeSearch::Next() {
  for (; part_ < count_; ++part_, code_ = 0) {
    Part& part = parts_[part_];
    if (code_ < part.found) {
      return part.codes[code_++];
    }
    // The plain search, for it reads nothing behind what it finds.
    const std::uint8_t* const code = FindOne(part, &kernels::plain::FindStartCode);
    if (code != end_) {
      return code;
    }
  }
  return end_;
}

}  // namespace qivm
