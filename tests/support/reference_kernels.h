#pragma once

#include <array>
#include <cstdint>
#include <span>

/// The arithmetic of the codec's plain kernels, each written as directly as possible: sums of
/// products in 64 bits, brought down to 32 bits (two's complement) wherever a 32-bit machine would
/// shift or store them.
namespace qivm::test {

using Block = std::array<std::int16_t, 64>;

/// One block, raster order, in place.
void ReferenceIdct(Block& block);
void ReferenceFdct(Block& block);

/// One AC coefficient.
std::int16_t ReferenceDequantise(int level, int weight, int scale);
std::int16_t ReferenceQuantise(int coefficient, int weight, int scale);

/// From raster to scan order and back; `scan` gives the scan index of every raster position.
Block ReferenceScanned(const Block& raster, const std::array<std::uint8_t, 64>& scan);
Block ReferenceUnscanned(const Block& scanned, const std::array<std::uint8_t, 64>& scan);

struct Rgb {
  int red = 0;
  int green = 0;
  int blue = 0;
};

/// A sample as a byte: below 0 is 0, above 255 is 255.
std::uint8_t ReferenceClamp(int value);
/// Studio-range samples to full-range components, clamped.
Rgb ReferenceToRgb(int y, int cb, int cr);
/// Full-range components to studio-range samples.
int ReferenceLuma(const Rgb& pixel);
int ReferenceCb(const Rgb& left, const Rgb& right);
int ReferenceCr(const Rgb& left, const Rgb& right);

}  // namespace qivm::test
