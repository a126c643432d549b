#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/pictures.h"

namespace qivm::test {

/// Small pictures, and what the codec makes of them when nothing else goes on: what it must make of
/// them whatever else goes on.
class ReferenceFrames {
 public:
  static constexpr std::size_t kSizes = 3;
  static constexpr std::size_t kFormats = std::size(kPixelFormats);
  /// All but the last format, which is not decompressed to.
  static constexpr std::size_t kOutputFormats = kFormats - 1;
  using Bytes = std::vector<std::uint8_t>;

  explicit ReferenceFrames(const DriverModule& driver);

  static BITMAPINFOHEADER HeaderOf(std::size_t format, std::size_t size);
  /// Which format and size a header has, if it is one of these.
  static std::optional<std::size_t> FormatOf(const BITMAPINFOHEADER& header);
  static std::optional<std::size_t> SizeOf(const BITMAPINFOHEADER& header);

  const Bytes& Picture(std::size_t format, std::size_t size) const {
    return pictures_[format][size];
  }
  /// The picture compressed at quality 8000, on one processor or on several.
  const Bytes& Compressed(std::size_t format, std::size_t size, bool several, bool fields) const {
    return compressed_[format][size][several ? 1 : 0][fields ? 1 : 0];
  }
  /// One frame of each size, and what it is decompressed to over a bitmap of zeros.
  const Bytes& Frame(std::size_t size) const { return Compressed(2, size, false, false); }
  const Bytes& Decompressed(std::size_t format, std::size_t size, bool fields) const {
    return decompressed_[format][size][fields ? 1 : 0];
  }

 private:
  void Compress(const DriverModule& driver);
  void Decompress(const DriverModule& driver);

  template <typename Value>
  using BySize = std::array<Value, kSizes>;
  using Pair = std::array<Bytes, 2>;

  std::array<BySize<Bytes>, kFormats> pictures_;
  std::array<BySize<std::array<Pair, 2>>, kFormats> compressed_;
  std::array<BySize<Pair>, kOutputFormats> decompressed_;
};

}  // namespace qivm::test
