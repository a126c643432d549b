#include "tests/support/client_pictures.h"

#include <algorithm>
#include <cmath>

#include "tests/support/random.h"

namespace qivm::test {

namespace {

/// Offset of a sample's byte in a packed YUV bitmap. `x` counts the component's own samples.
std::size_t SampleOffset(ClientFormat format, int width, Component component, int x, int y) {
  const int groupBytes = 16 * BytesPerPixel(format);
  const int perGroup = component == Component::luma ? 16 : 8;
  const int group = y * (width / 16) + x / perGroup;
  const int i = x % perGroup;
  const auto offset = [&](int luma, int cb, int cr) {
    switch (component) {
      case Component::luma:
        return luma;
      case Component::cb:
        return cb;
      case Component::cr:
        return cr;
    }
    return 0;
  };
  int inGroup = 0;
  switch (format) {
    case ClientFormat::yuy2:
      inGroup = offset(2 * i, 4 * i + 1, 4 * i + 3);
      break;
    case ClientFormat::uyvy:
      inGroup = offset(2 * i + 1, 4 * i, 4 * i + 2);
      break;
    case ClientFormat::yvyu:
      inGroup = offset(2 * i, 4 * i + 3, 4 * i + 1);
      break;
    case ClientFormat::y16:
      inGroup = offset(i, 16 + i, 24 + i);
      break;
    case ClientFormat::y16a:
      inGroup = offset(i, 32 + i, 40 + i);
      break;
    case ClientFormat::rgb24:
    case ClientFormat::rgb32:
      break;
  }
  return static_cast<std::size_t>(group) * static_cast<std::size_t>(groupBytes) +
         static_cast<std::size_t>(inGroup);
}

/// Offset of a pixel's blue byte: the bottom row comes first.
std::size_t RgbOffset(ClientFormat format, int width, int height, int x, int y) {
  return (static_cast<std::size_t>(height - 1 - y) * static_cast<std::size_t>(width) +
          static_cast<std::size_t>(x)) *
         static_cast<std::size_t>(BytesPerPixel(format));
}

}  // namespace

std::string FormatName(ClientFormat format) {
  switch (format) {
    case ClientFormat::rgb24:
      return "Rgb24";
    case ClientFormat::rgb32:
      return "Rgb32";
    case ClientFormat::yuy2:
      return "Yuy2";
    case ClientFormat::uyvy:
      return "Uyvy";
    case ClientFormat::yvyu:
      return "Yvyu";
    case ClientFormat::y16:
      return "Y16";
    case ClientFormat::y16a:
      return "Y16a";
  }
  return "none";
}

int BytesPerPixel(ClientFormat format) {
  switch (format) {
    case ClientFormat::rgb24:
    case ClientFormat::y16a:
      return 3;
    case ClientFormat::rgb32:
      return 4;
    case ClientFormat::yuy2:
    case ClientFormat::uyvy:
    case ClientFormat::yvyu:
    case ClientFormat::y16:
      break;
  }
  return 2;
}

std::size_t BitmapBytes(ClientFormat format, int width, int height) {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
         static_cast<std::size_t>(BytesPerPixel(format));
}

BitmapInfoHeader UncompressedHeader(ClientFormat format, int width, int height) {
  constexpr std::array<FourCC, 7> kCodes = {kBiRgb, kBiRgb, kYuy2, kUyvy, kYvyu, kY16, kY16A};
  BitmapInfoHeader header;
  header.biWidth = width;
  header.biHeight = height;
  header.biBitCount = static_cast<std::uint16_t>(8 * BytesPerPixel(format));
  header.biCompression = kCodes[static_cast<std::size_t>(format)];
  header.biSizeImage = static_cast<std::uint32_t>(BitmapBytes(format, width, height));
  return header;
}

BitmapInfoHeader CompressedHeader(int width, int height, std::size_t size) {
  BitmapInfoHeader header;
  header.biWidth = width;
  header.biHeight = height;
  header.biBitCount = 24;
  header.biCompression = kQivm;
  header.biSizeImage = static_cast<std::uint32_t>(size);
  return header;
}

Planes::Planes(int pictureWidth, int pictureHeight) : width(pictureWidth), height(pictureHeight) {
  const std::size_t pixels =
      static_cast<std::size_t>(pictureWidth) * static_cast<std::size_t>(pictureHeight);
  luma.resize(pixels);
  cb.resize(pixels / 2);
  cr.resize(pixels / 2);
}

std::int16_t& Planes::At(Component component, int x, int y) {
  const int rowSamples = component == Component::luma ? width : width / 2;
  const std::size_t index = static_cast<std::size_t>(y) * static_cast<std::size_t>(rowSamples) +
                            static_cast<std::size_t>(x);
  switch (component) {
    case Component::cb:
      return cb[index];
    case Component::cr:
      return cr[index];
    case Component::luma:
      break;
  }
  return luma[index];
}

Planes PlanesOf(ClientFormat format, int width, int height, std::span<const std::uint8_t> bitmap) {
  Planes planes(width, height);
  const auto rgbAt = [&](int x, int y) {
    const std::size_t offset = RgbOffset(format, width, height, x, y);
    return Rgb{bitmap[offset + 2], bitmap[offset + 1], bitmap[offset]};
  };
  const auto byteAt = [&](Component component, int x, int y) {
    return std::int16_t{bitmap[SampleOffset(format, width, component, x, y)]};
  };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; x += 2) {
      std::int16_t& luma0 = planes.At(Component::luma, x, y);
      std::int16_t& luma1 = planes.At(Component::luma, x + 1, y);
      std::int16_t& cb = planes.At(Component::cb, x / 2, y);
      std::int16_t& cr = planes.At(Component::cr, x / 2, y);
      if (IsRgb(format)) {
        const Rgb left = rgbAt(x, y);
        const Rgb right = rgbAt(x + 1, y);
        luma0 = static_cast<std::int16_t>(ReferenceLuma(left));
        luma1 = static_cast<std::int16_t>(ReferenceLuma(right));
        cb = static_cast<std::int16_t>(ReferenceCb(left, right));
        cr = static_cast<std::int16_t>(ReferenceCr(left, right));
      } else {
        luma0 = byteAt(Component::luma, x, y);
        luma1 = byteAt(Component::luma, x + 1, y);
        cb = byteAt(Component::cb, x / 2, y);
        cr = byteAt(Component::cr, x / 2, y);
      }
    }
  }
  return planes;
}

void StorePixelPair(ClientFormat format, int width, int height, std::span<std::uint8_t> bitmap,
                    int x, int y, int luma0, int luma1, int cb, int cr) {
  if (IsRgb(format)) {
    for (int i = 0; i < 2; ++i) {
      const Rgb pixel = ReferenceToRgb(i == 0 ? luma0 : luma1, cb, cr);
      const std::size_t offset = RgbOffset(format, width, height, x + i, y);
      bitmap[offset] = static_cast<std::uint8_t>(pixel.blue);
      bitmap[offset + 1] = static_cast<std::uint8_t>(pixel.green);
      bitmap[offset + 2] = static_cast<std::uint8_t>(pixel.red);
    }
    return;
  }
  bitmap[SampleOffset(format, width, Component::luma, x, y)] = ReferenceClamp(luma0);
  bitmap[SampleOffset(format, width, Component::luma, x + 1, y)] = ReferenceClamp(luma1);
  bitmap[SampleOffset(format, width, Component::cb, x / 2, y)] = ReferenceClamp(cb);
  bitmap[SampleOffset(format, width, Component::cr, x / 2, y)] = ReferenceClamp(cr);
}

void Draw(const Planes& planes, ClientFormat format, std::span<std::uint8_t> bitmap) {
  for (int y = 0; y < planes.height; ++y) {
    for (int x = 0; x < planes.width; x += 2) {
      StorePixelPair(format, planes.width, planes.height, bitmap, x, y,
                     planes.At(Component::luma, x, y), planes.At(Component::luma, x + 1, y),
                     planes.At(Component::cb, x / 2, y), planes.At(Component::cr, x / 2, y));
    }
  }
}

Bytes RotatedRows(ClientFormat format, int width, int height, std::span<const std::uint8_t> bitmap,
                  int down) {
  // Moving the picture of a bottom-up bitmap down moves its rows to the front of the memory.
  const int forward = ((IsRgb(format) ? -down : down) % height + height) % height;
  const auto line = static_cast<std::ptrdiff_t>(BitmapBytes(format, width, 1));
  Bytes rotated(bitmap.begin(), bitmap.end());
  std::rotate(rotated.begin(), rotated.end() - line * forward, rotated.end());
  return rotated;
}

Bytes NoiseBitmap(ClientFormat format, int width, int height, std::uint64_t seed) {
  Random random(seed);
  Bytes bitmap(BitmapBytes(format, width, height));
  for (std::uint8_t& byte : bitmap) {
    byte = random.Byte();
  }
  return bitmap;
}

Bytes BlackWhiteNoiseBitmap(ClientFormat format, int width, int height, std::uint64_t seed) {
  Random random(seed);
  Bytes bitmap(BitmapBytes(format, width, height));
  if (IsRgb(format)) {
    const auto pixelBytes = static_cast<std::size_t>(BytesPerPixel(format));
    for (std::size_t i = 0; i < bitmap.size(); i += pixelBytes) {
      std::fill_n(bitmap.begin() + static_cast<std::ptrdiff_t>(i), pixelBytes,
                  static_cast<std::uint8_t>(random.OneIn(2) ? 255 : 0));
    }
  } else {
    for (std::uint8_t& byte : bitmap) {
      byte = random.OneIn(2) ? 255 : 0;
    }
  }
  return bitmap;
}

Planes NaturalPlanes(int width, int height, std::uint64_t seed) {
  Random random(seed);
  const double phase = random.Below(1000) / 100.0;
  Planes planes(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      // The second field shows the scene a little later.
      const double u = x + (y % 2 == 0 ? 0.0 : 1.5);
      const double v = y;
      double luma = 126 + 55 * std::sin(u / 61 + phase) * std::cos(v / 47);
      luma += 12 * std::sin((u + 2 * v) / 9) + 6 * std::sin(u / 2.7) * std::sin(v / 3.1);
      if (std::fmod(u + v / 3, 97) < 31) {
        luma -= 38;  // bars with sharp edges
      }
      luma += random.Between(-3, 3);
      planes.At(Component::luma, x, y) =
          static_cast<std::int16_t>(std::clamp(std::lround(luma), 16L, 235L));
      if (x % 2 == 0) {
        const double cb = 128 + 40 * std::sin(u / 83 + phase) + random.Between(-1, 1);
        const double cr = 128 + 40 * std::cos((u + v) / 71) + random.Between(-1, 1);
        planes.At(Component::cb, x / 2, y) = static_cast<std::int16_t>(std::lround(cb));
        planes.At(Component::cr, x / 2, y) = static_cast<std::int16_t>(std::lround(cr));
      }
    }
  }
  return planes;
}

Bytes NaturalBitmap(ClientFormat format, int width, int height, std::uint64_t seed) {
  Bytes bitmap(BitmapBytes(format, width, height));
  Draw(NaturalPlanes(width, height, seed), format, bitmap);
  return bitmap;
}

double Psnr(const Planes& a, const Planes& b, Component component) {
  const int samples = component == Component::luma ? a.width : a.width / 2;
  double squares = 0;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < samples; ++x) {
      const double difference = a.At(component, x, y) - b.At(component, x, y);
      squares += difference * difference;
    }
  }
  if (squares == 0) {
    return 100;
  }
  return 10 * std::log10(255.0 * 255.0 * samples * a.height / squares);
}

}  // namespace qivm::test
