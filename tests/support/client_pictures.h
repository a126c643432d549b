#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kernels/client_format.h"
#include "tests/support/reference_kernels.h"

/// Clients' bitmaps, the planar pictures they stand for, and pictures to test with.
namespace qivm::test {

using Bytes = std::vector<std::uint8_t>;

constexpr std::array<ClientFormat, 7> kInputFormats = {
    ClientFormat::rgb24, ClientFormat::rgb32, ClientFormat::yuy2, ClientFormat::uyvy,
    ClientFormat::yvyu,  ClientFormat::y16,   ClientFormat::y16a};
constexpr std::array<ClientFormat, 6> kOutputFormats = {ClientFormat::rgb24, ClientFormat::rgb32,
                                                        ClientFormat::yuy2,  ClientFormat::uyvy,
                                                        ClientFormat::yvyu,  ClientFormat::y16};

std::string FormatName(ClientFormat format);
int BytesPerPixel(ClientFormat format);
/// Bytes of a whole bitmap.
std::size_t BitmapBytes(ClientFormat format, int width, int height);

BitmapInfoHeader UncompressedHeader(ClientFormat format, int width, int height);
BitmapInfoHeader CompressedHeader(int width, int height, std::size_t size = 0);

enum class Component : std::uint8_t { luma, cb, cr };

/// A 4:2:2 picture. Samples are not confined to bytes.
struct Planes {
  int width = 0;
  int height = 0;
  std::vector<std::int16_t> luma;  // width x height
  std::vector<std::int16_t> cb;    // width / 2 x height
  std::vector<std::int16_t> cr;

  Planes() = default;
  Planes(int pictureWidth, int pictureHeight);

  std::int16_t& At(Component component, int x, int y);
  std::int16_t At(Component component, int x, int y) const {
    return const_cast<Planes*>(this)->At(component, x, y);
  }
};

/// The samples that a bitmap stands for.
Planes PlanesOf(ClientFormat format, int width, int height, std::span<const std::uint8_t> bitmap);

/// Writes the pixels x, x + 1 of a row (x is even) from their samples.
void StorePixelPair(ClientFormat format, int width, int height, std::span<std::uint8_t> bitmap,
                    int x, int y, int luma0, int luma1, int cb, int cr);

/// A whole bitmap of a picture. Bytes that no sample covers keep what `bitmap` holds.
void Draw(const Planes& planes, ClientFormat format, std::span<std::uint8_t> bitmap);

/// The bitmap with its picture rotated by whole lines: row y shows what row (y - down) showed,
/// modulo the height.
Bytes RotatedRows(ClientFormat format, int width, int height, std::span<const std::uint8_t> bitmap,
                  int down);

/// Random bytes: every pixel of its own.
Bytes NoiseBitmap(ClientFormat format, int width, int height, std::uint64_t seed);

/// Random pixels of 0 and 255 alone, the hardest picture there is to code.
Bytes BlackWhiteNoiseBitmap(ClientFormat format, int width, int height, std::uint64_t seed);

/// A picture with the properties of camera material: smooth shading, texture, edges, a little
/// noise, and movement between its two fields.
Planes NaturalPlanes(int width, int height, std::uint64_t seed);
Bytes NaturalBitmap(ClientFormat format, int width, int height, std::uint64_t seed);

/// Peak signal-to-noise ratio of one component in dB; 100 for equal ones.
double Psnr(const Planes& a, const Planes& b, Component component);

}  // namespace qivm::test
