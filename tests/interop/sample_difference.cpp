#include "tests/interop/sample_difference.h"

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace qivm::interop {

SampleDifference Compare(std::span<const std::uint8_t> yuy2, std::span<const std::uint8_t> planar,
                         Size size) {
  const auto width = static_cast<std::size_t>(size.width);
  const std::size_t luma = size.Samples();
  if (yuy2.size() != 2 * luma || planar.size() != 2 * luma) {
    throw std::runtime_error("pictures of " + std::to_string(yuy2.size()) + " and " +
                             std::to_string(planar.size()) + " bytes where " +
                             std::to_string(2 * luma) + " were due");
  }
  SampleDifference difference;
  auto compare = [&](std::size_t packedAt, std::size_t planarAt) {
    const int distance = std::abs(int{yuy2[packedAt]} - int{planar[planarAt]});
    if (distance > difference.largest) {
      constexpr std::array<const char*, 4> kComponents = {"Y", "Cb", "Y", "Cr"};
      difference.largest = distance;
      difference.place =
          std::string(kComponents[packedAt % 4]) + " at column " +
          std::to_string(packedAt / 2 % width) + ", row " + std::to_string(packedAt / 2 / width) +
          ": " + std::to_string(yuy2[packedAt]) + " and " + std::to_string(planar[planarAt]);
    }
  };
  for (std::size_t pair = 0; pair < luma / 2; ++pair) {
    compare(4 * pair, 2 * pair);
    compare(4 * pair + 1, luma + pair);
    compare(4 * pair + 2, 2 * pair + 1);
    compare(4 * pair + 3, luma + luma / 2 + pair);
  }
  return difference;
}

}  // namespace qivm::interop
