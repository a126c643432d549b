#include "tests/support/reference_kernels.h"

namespace qivm::test {

namespace {

/// Eight values along one row or column, lowest frequency or first sample first.
using Line = std::array<std::int64_t, 8>;

std::int64_t Wrap(std::int64_t value) { return static_cast<std::int32_t>(value & 0xFFFFFFFF); }
std::int64_t ShiftRight(std::int64_t value, int bits) { return Wrap(value) >> bits; }
std::int16_t Store(std::int64_t value) { return static_cast<std::int16_t>(value & 0xFFFF); }

Line IdctLine(const Line& x, std::int64_t rounding, int shift) {
  const std::int64_t a = 22725 * x[1] + 4520 * x[7];
  const std::int64_t b = 4520 * x[1] - 22725 * x[7];
  const std::int64_t c = 19265 * x[3] + 12872 * x[5];
  const std::int64_t d = 19265 * x[5] - 12872 * x[3];
  const std::int64_t p = ShiftRight((a - c) + (b - d) + 1024, 11);
  const std::int64_t q = ShiftRight((a - c) - (b - d) + 1024, 11);
  const std::int64_t pRotated = ShiftRight(11585 * p, 3);
  const std::int64_t qRotated = ShiftRight(11585 * q, 3);

  const std::int64_t even0 = 16384 * x[0] + 16384 * x[4] + 21406 * x[2] + 8866 * x[6];
  const std::int64_t even1 = 16384 * x[0] - 16384 * x[4] + 8866 * x[2] - 21406 * x[6];
  const std::int64_t even2 = 16384 * x[0] - 16384 * x[4] - 8866 * x[2] + 21406 * x[6];
  const std::int64_t even3 = 16384 * x[0] + 16384 * x[4] - 21406 * x[2] - 8866 * x[6];

  Line y = {even0 + a + c, even1 + pRotated, even2 + qRotated, even3 + b + d,
            even3 - b - d, even2 - qRotated, even1 - pRotated, even0 - a - c};
  for (std::int64_t& value : y) {
    value = ShiftRight(value + rounding, shift);
  }
  return y;
}

struct FdctPass {
  std::int64_t rounding;          // of the results
  int shift;                      // of the results
  std::int64_t rotationRounding;  // before the factor of the third and the fifth result
  int rotationShift;
  std::int64_t rotatedRounding;  // behind that factor
  int rotatedShift;
};
constexpr FdctPass kVertical = {256, 9, 64, 7, 64, 7};
constexpr FdctPass kHorizontal = {262144, 19, 2048, 12, 2, 2};

Line FdctLine(const Line& x, const FdctPass& pass) {
  const Line t = {x[0] - x[7], x[1] - x[6], x[2] - x[5], x[3] - x[4]};
  const std::int64_t a = (x[0] + x[7]) - (x[3] + x[4]);
  const std::int64_t b = (x[1] + x[6]) - (x[2] + x[5]);
  const std::int64_t p = 8035 * t[0] + 1598 * t[3];
  const std::int64_t q = 1598 * t[0] - 8035 * t[3];
  const std::int64_t u = 6811 * t[1] + 4551 * t[2];
  const std::int64_t v = 6811 * t[2] - 4551 * t[1];
  const std::int64_t e = ShiftRight((q - v) + (p - u) + pass.rotationRounding, pass.rotationShift);
  const std::int64_t f = ShiftRight((p - u) - (q - v) + pass.rotationRounding, pass.rotationShift);

  Line y = {5793 * (x[0] + x[1] + x[2] + x[3] + x[4] + x[5] + x[6] + x[7]),
            u + p,
            7568 * a + 3135 * b,
            ShiftRight(11585 * e + pass.rotatedRounding, pass.rotatedShift),
            5793 * ((x[0] + x[7] + x[3] + x[4]) - (x[1] + x[6] + x[2] + x[5])),
            ShiftRight(11585 * f + pass.rotatedRounding, pass.rotatedShift),
            3135 * a - 7568 * b,
            v + q};
  for (std::int64_t& value : y) {
    value = ShiftRight(value + pass.rounding, pass.shift);
  }
  return y;
}

}  // namespace

void ReferenceIdct(Block& block) {
  for (std::size_t row = 0; row < 8; ++row) {
    Line line = {};
    for (std::size_t i = 0; i < 8; ++i) {
      line[i] = block[8 * row + i];
    }
    line = IdctLine(line, 8192, 14);
    for (std::size_t i = 0; i < 8; ++i) {
      block[8 * row + i] = Store(line[i]);
    }
  }
  for (std::size_t column = 0; column < 8; ++column) {
    Line line = {};
    for (std::size_t i = 0; i < 8; ++i) {
      line[i] = block[8 * i + column];
    }
    line = IdctLine(line, 65536, 17);
    for (std::size_t i = 0; i < 8; ++i) {
      block[8 * i + column] = Store(line[i]);
    }
  }
}

void ReferenceFdct(Block& block) {
  std::array<std::int64_t, 64> frequencies = {};  // vertical frequency by row
  for (std::size_t column = 0; column < 8; ++column) {
    Line line = {};
    for (std::size_t i = 0; i < 8; ++i) {
      line[i] = block[8 * i + column];
    }
    line = FdctLine(line, kVertical);
    for (std::size_t i = 0; i < 8; ++i) {
      frequencies[8 * i + column] = line[i];
    }
  }
  for (std::size_t row = 0; row < 8; ++row) {
    Line line = {};
    for (std::size_t i = 0; i < 8; ++i) {
      line[i] = frequencies[8 * row + i];
    }
    line = FdctLine(line, kHorizontal);
    for (std::size_t i = 0; i < 8; ++i) {
      block[8 * row + i] = Store(line[i]);
    }
  }
}

std::int16_t ReferenceDequantise(int level, int weight, int scale) {
  return Store(std::int64_t{level} * weight * scale * 2 / 32);
}

std::int16_t ReferenceQuantise(int coefficient, int weight, int scale) {
  return Store(std::int64_t{coefficient} * 32 / (std::int64_t{weight} * scale * 2));
}

Block ReferenceScanned(const Block& raster, const std::array<std::uint8_t, 64>& scan) {
  Block scanned = {};
  for (std::size_t i = 0; i < raster.size(); ++i) {
    scanned[scan[i]] = raster[i];
  }
  return scanned;
}

Block ReferenceUnscanned(const Block& scanned, const std::array<std::uint8_t, 64>& scan) {
  Block raster = {};
  for (std::size_t i = 0; i < raster.size(); ++i) {
    raster[i] = scanned[scan[i]];
  }
  return raster;
}

std::uint8_t ReferenceClamp(int value) {
  if (value < 0) {
    return 0;
  }
  return value > 255 ? 255 : static_cast<std::uint8_t>(value);
}

Rgb ReferenceToRgb(int y, int cb, int cr) {
  const std::int64_t luma = std::int64_t{76283} * (y - 16);
  const std::int64_t blueness = cb - 128;
  const std::int64_t redness = cr - 128;
  const auto component = [](std::int64_t sum) {
    return int{ReferenceClamp(static_cast<int>(ShiftRight(sum + 32768, 16)))};
  };
  return {component(luma + 104595 * redness), component(luma - 25674 * blueness - 53278 * redness),
          component(luma + 132251 * blueness)};
}

int ReferenceLuma(const Rgb& pixel) {
  return (16843 * pixel.red + 33030 * pixel.green + 6423 * pixel.blue) / 65535 + 16;
}

namespace {

Rgb Average(const Rgb& left, const Rgb& right) {
  return {(left.red + right.red) / 2, (left.green + right.green) / 2, (left.blue + right.blue) / 2};
}

}  // namespace

int ReferenceCb(const Rgb& left, const Rgb& right) {
  const Rgb c = Average(left, right);
  return (-9699 * c.red - 19071 * c.green + 28770 * c.blue) / 65535 + 128;
}

int ReferenceCr(const Rgb& left, const Rgb& right) {
  const Rgb c = Average(left, right);
  return (28770 * c.red - 24117 * c.green - 4653 * c.blue) / 65535 + 128;
}

}  // namespace qivm::test
