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
  crew_ = &crew;
  rest_ = frame.data() + offset;
  end_ = frame.data() + frame.size();
  count_ = 0;
  part_ = 0;
}

const std::uint8_t* StartCodeSearch::Next() {
  for (;;) {
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
    if (rest_ == end_) {
      return end_;
    }
    LookAhead();
  }
}

/// Has the threads look through the next parts.
void StartCodeSearch::LookAhead() {
  part_ = 0;
  code_ = 0;
  const std::uint8_t* const end = EndOfReadable();
  const auto size = static_cast<std::size_t>(end - rest_);
  if (size < kPrefixBytes) {
    // Nothing more can be read, or it is the last bytes.
    count_ = 1;
    parts_[0].rest = rest_;
    parts_[0].end = end_;
    parts_[0].found = 0;
    rest_ = end_;
    return;
  }
  count_ = std::max<std::size_t>(size / kPartBytes, 1);
  for (std::size_t i = 0; i < count_; ++i) {
    Part& part = parts_[i];
    part.rest = rest_ + size / count_ * i;
    // The last prefix may reach into the next part.
    part.end = i + 1 < count_ ? rest_ + size / count_ * (i + 1) + kPrefixBytes - 1 : end;
    part.found = 0;
  }
  constexpr RowCrew::Work kLookThrough = [](void* self, RowCrew::Seat& seat) {
    auto& search = *static_cast<StartCodeSearch*>(self);
    for (int part = seat.ClaimRow(); part != RowCrew::kNoRow; part = seat.ClaimRow()) {
      search.LookThrough(search.parts_[static_cast<std::size_t>(part)]);
    }
  };
  crew_->Run(static_cast<int>(count_), kLookThrough, this);
  // Prefixes that begin in the last bytes are still to be found.
  rest_ = end == end_ ? end_ : end - (kPrefixBytes - 1);
}

/// The end of the bytes that are looked through at once, or the first page of them that cannot be
/// read. What is behind such a page may be anybody's.
const std::uint8_t* StartCodeSearch::EndOfReadable() const {
  const auto left = static_cast<std::size_t>(end_ - rest_);
  const std::uint8_t* const end = rest_ + std::min(left, kParts * kPartBytes);
  // Volatile, for a fault leaves the loop.
  const std::uint8_t* volatile readable = rest_;
  auto touch = [&readable, end] {
    while (readable != end) {
      static_cast<void>(*static_cast<const volatile std::uint8_t*>(readable));
      const std::size_t toNextPage =
          platform::kPageBytes - reinterpret_cast<std::uintptr_t>(readable) % platform::kPageBytes;
      readable = readable + std::min(toNextPage, static_cast<std::size_t>(end - readable));
    }
  };
  platform::RunGuarded(touch);
  return readable;
}

/// Keeps as many start codes of a part as there is room for.
void StartCodeSearch::LookThrough(Part& part) const {
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

}  // namespace qivm
