#include "tests/driver/pictures.h"

#include <cmath>

namespace qivm::test {

namespace {

struct Sample {
  std::uint8_t first;   // R or Y
  std::uint8_t second;  // G or Cb
  std::uint8_t third;   // B or Cr
};

std::uint8_t Clip(double value) {
  return static_cast<std::uint8_t>(std::lround(std::fmin(std::fmax(value, 16.0), 235.0)));
}

/// Slow in chrominance, so that halving its width costs little.
Sample SampleAt(LONG x, LONG y, unsigned seed) {
  const double phase = seed * 0.7;
  const double slowX = std::sin(x / 37.0 + phase);
  const double slowY = std::cos(y / 29.0 - phase);
  const double texture = 6.0 * std::sin(x * 0.9) * std::sin(y * 0.7);
  const double box = (x / 24 + y / 40) % 2 == 0 ? 20.0 : -20.0;
  return {Clip(126.0 + 50.0 * slowX + box + texture), Clip(126.0 + 40.0 * slowY + box + texture),
          Clip(126.0 + 40.0 * slowX * slowY + box + texture)};
}

Sample YuvSampleAt(LONG x, LONG y, unsigned seed) {
  const Sample sample = SampleAt(x, y, seed);
  return {sample.first, Clip(128.0 + 50.0 * std::cos(y / 29.0 + seed)),
          Clip(128.0 + 50.0 * std::sin(x / 41.0 + seed))};
}

void WriteRgbRow(const BITMAPINFOHEADER& header, LONG y, unsigned seed,
                 std::span<std::uint8_t> row) {
  const std::size_t step = header.biBitCount / 8U;
  for (LONG x = 0; x < header.biWidth; ++x, row = row.subspan(step)) {
    const Sample sample = SampleAt(x, y, seed);
    row[0] = sample.third;
    row[1] = sample.second;
    row[2] = sample.first;
    if (step == 4) {
      row[3] = static_cast<std::uint8_t>(x + y);  // ignored by the codec
    }
  }
}

/// Two pixels in four bytes, or 16 pixels in groups with a gap behind the luminance.
void WriteYuvRow(const BITMAPINFOHEADER& header, LONG y, unsigned seed,
                 std::span<std::uint8_t> row) {
  const std::size_t groupBytes = 2 * std::size_t{header.biBitCount};
  for (LONG x = 0; x < header.biWidth; ++x) {
    const Sample sample = YuvSampleAt(x, y, seed);
    const Sample left = YuvSampleAt(x & ~1L, y, seed);
    const bool isLeft = x % 2 == 0;
    const std::uint8_t chrominance = isLeft ? left.second : left.third;
    const auto column = static_cast<std::size_t>(x);
    switch (header.biCompression) {
      case kYuy2Code:
        row[2 * column] = sample.first;
        row[2 * column + 1] = chrominance;
        break;
      case kUyvyCode:
        row[2 * column + 1] = sample.first;
        row[2 * column] = chrominance;
        break;
      case kYvyuCode:
        row[2 * column] = sample.first;
        row[2 * column + 1] = isLeft ? left.third : left.second;
        break;
      default: {
        const auto group = row.subspan(column / 16 * groupBytes, groupBytes);
        group[column % 16] = sample.first;
        group[groupBytes - (isLeft ? 16 : 8) + column % 16 / 2] = chrominance;
        break;
      }
    }
  }
}

}  // namespace

BITMAPINFOHEADER Header(const PixelFormat& format, LONG width, LONG height) {
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof(header);
  header.biWidth = width;
  header.biHeight = height;
  header.biPlanes = 1;
  header.biBitCount = format.bitCount;
  header.biCompression = format.compression;
  header.biSizeImage = static_cast<DWORD>(width) * static_cast<DWORD>(height) * format.bitCount / 8;
  return header;
}

BITMAPINFOHEADER CompressedHeader(LONG width, LONG height, DWORD code) {
  return Header({"", code, 24}, width, height);
}

std::size_t BitmapBytes(const BITMAPINFOHEADER& header) {
  return static_cast<std::size_t>(header.biWidth) * static_cast<std::size_t>(header.biHeight) *
         header.biBitCount / 8;
}

std::vector<std::uint8_t> MakePicture(const BITMAPINFOHEADER& header, unsigned seed) {
  std::vector<std::uint8_t> picture(BitmapBytes(header));
  const std::size_t rowBytes = picture.size() / static_cast<std::size_t>(header.biHeight);
  for (LONG y = 0; y < header.biHeight; ++y) {
    const bool bottomUp = header.biCompression == BI_RGB;
    const LONG line = bottomUp ? header.biHeight - 1 - y : y;
    const auto row =
        std::span(picture).subspan(static_cast<std::size_t>(line) * rowBytes, rowBytes);
    if (bottomUp) {
      WriteRgbRow(header, y, seed, row);
    } else {
      WriteYuvRow(header, y, seed, row);
    }
  }
  return picture;
}

double Psnr(const BITMAPINFOHEADER& header, std::span<const std::uint8_t> a,
            std::span<const std::uint8_t> b) {
  double squares = 0.0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (header.biBitCount == 32 && i % 4 == 3) {
      continue;
    }
    const double difference = static_cast<double>(a[i]) - b[i];
    squares += difference * difference;
    ++count;
  }
  return 10.0 * std::log10(255.0 * 255.0 * static_cast<double>(count) / std::fmax(squares, 1e-9));
}

}  // namespace qivm::test
