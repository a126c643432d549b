// The messages by which a host and the codec agree on formats, and those that begin and end.

#include <cstring>
#include <optional>

#include "tests/robustness/guarded_value.h"
#include "tests/robustness/host_stand_ins.h"
#include "tests/robustness/random_formats.h"
#include "tests/robustness/random_host.h"

namespace qivm::test {

namespace {

constexpr std::size_t kCompressedFormatBytes = 252;

/// A header passed by pointer, or null.
class HeaderArgument {
 public:
  HeaderArgument(const BITMAPINFOHEADER& header, bool null) {
    if (!null) {
      value_.emplace(header);
      value_->MakeReadOnly();
    }
  }

  BITMAPINFOHEADER* Get() { return value_ ? value_->Get() : nullptr; }

 private:
  std::optional<GuardedValue<BITMAPINFOHEADER>> value_;
};

BITMAPINFOHEADER HeaderAt(const std::uint8_t* bytes) {
  BITMAPINFOHEADER header;
  std::memcpy(&header, bytes, sizeof(header));
  return header;
}

/// The uncompressed side of a decompression: mostly of the stream's size.
BITMAPINFOHEADER OutputFor(Random& random, const BITMAPINFOHEADER& bitmap) {
  BITMAPINFOHEADER output = bitmap;
  if (random.OneIn(10)) {
    output = RandomBitmap(random);
  }
  return output;
}

}  // namespace

void RandomHost::CompressQuery(OpenInstance& instance) {
  const BITMAPINFOHEADER bitmap = RandomBitmap(random_);
  HeaderArgument input(bitmap, random_.OneIn(10));
  HeaderArgument output(RandomStream(random_, bitmap), random_.OneIn(3));
  Expect(Send(instance.id, ICM_COMPRESS_QUERY, input.Get(), output.Get()),
         instance.model.CompressQuery(input.Get(), output.Get()));
}

void RandomHost::CompressGetFormat(OpenInstance& instance) {
  HeaderArgument input(RandomBitmap(random_), random_.OneIn(10));
  const LRESULT expected = instance.model.CompressQuery(input.Get(), nullptr);
  if (random_.OneIn(3)) {
    Expect(Send(instance.id, ICM_COMPRESS_GET_FORMAT, input.Get(), nullptr),
           expected == ICERR_OK ? LRESULT{kCompressedFormatBytes} : expected);
    return;
  }
  if (expected != ICERR_OK) {
    Expect(Send(instance.id, ICM_COMPRESS_GET_FORMAT, input.Get(), wall_.Data()), expected);
    return;
  }
  const GuardedBuffer output(kCompressedFormatBytes);
  Expect(Send(instance.id, ICM_COMPRESS_GET_FORMAT, input.Get(), output.Data()), ICERR_OK);
  const BITMAPINFOHEADER got = HeaderAt(output.Data());
  Check(got.biSize == kCompressedFormatBytes && got.biWidth == input.Get()->biWidth &&
            got.biHeight == input.Get()->biHeight && got.biPlanes == input.Get()->biPlanes &&
            got.biBitCount == 24 && got.biCompression == instance.model.Handler() &&
            got.biSizeImage == 1007000 && HeaderAt(output.Data() + 188).biCompression == kMmesCode,
        "wrong compressed format");
  Check(output.GapsIntact(), "a write beside the compressed format");
}

void RandomHost::CompressGetSize(OpenInstance& instance) {
  HeaderArgument input(RandomBitmap(random_), false);
  const auto pixels =
      static_cast<DWORD>(input.Get()->biWidth) * static_cast<DWORD>(input.Get()->biHeight);
  Expect(Send(instance.id, ICM_COMPRESS_GET_SIZE, input.Get(), WildParameter()),
         static_cast<LONG>(pixels * 3));
}

void RandomHost::CompressBegin(OpenInstance& instance) {
  InstanceModel& model = instance.model;
  const BITMAPINFOHEADER bitmap = RandomBitmap(random_);
  HeaderArgument input(bitmap, random_.OneIn(20));
  HeaderArgument output(RandomStream(random_, bitmap), random_.OneIn(20));
  const LRESULT query = model.CompressQuery(input.Get(), output.Get());
  const LRESULT got = Send(instance.id, ICM_COMPRESS_BEGIN, input.Get(), output.Get());
  if (query != ICERR_OK) {
    // Whatever was begun goes on.
    Expect(got, query);
    return;
  }
  model.compressor.reset();
  if (output.Get() == nullptr || !CompressorBegins(bitmap)) {
    Expect(got, ICERR_BADFORMAT);
    return;
  }
  if (got != ICERR_OK && IsMuchMemory(bitmap)) {
    Check(got == ICERR_BADFORMAT || got == ICERR_INTERNAL, "wrong error");
    return;
  }
  Expect(got, ICERR_OK);
  model.compressor = {bitmap, ThisHostThread().processors > 1};
  ++counts_.begins;
}

void RandomHost::CompressEnd(OpenInstance& instance) {
  Expect(Send(instance.id, ICM_COMPRESS_END, WildParameter(), WildParameter()), ICERR_OK);
  instance.model.compressor.reset();
}

void RandomHost::DecompressQuery(OpenInstance& instance) {
  const BITMAPINFOHEADER bitmap = RandomBitmap(random_);
  HeaderArgument input(RandomStream(random_, bitmap), random_.OneIn(10));
  HeaderArgument output(OutputFor(random_, bitmap), random_.OneIn(3));
  Expect(Send(instance.id, ICM_DECOMPRESS_QUERY, input.Get(), output.Get()),
         instance.model.DecompressQuery(input.Get(), output.Get(), ThisHostThread().defectiveHost));
}

void RandomHost::DecompressGetFormat(OpenInstance& instance) {
  HeaderArgument input(RandomStream(random_, RandomBitmap(random_)), random_.OneIn(10));
  const LRESULT expected = instance.model.DecompressQuery(input.Get(), nullptr, false);
  if (random_.OneIn(3)) {
    Expect(Send(instance.id, ICM_DECOMPRESS_GET_FORMAT, input.Get(), nullptr),
           expected == ICERR_OK ? LRESULT{sizeof(BITMAPINFOHEADER)} : expected);
    return;
  }
  if (expected != ICERR_OK) {
    Expect(Send(instance.id, ICM_DECOMPRESS_GET_FORMAT, input.Get(), wall_.Data()), expected);
    return;
  }
  GuardedValue<BITMAPINFOHEADER> output({});
  Expect(Send(instance.id, ICM_DECOMPRESS_GET_FORMAT, input.Get(), output.Get()), ICERR_OK);
  BITMAPINFOHEADER wanted = {};
  wanted.biSize = sizeof(wanted);
  wanted.biWidth = input.Get()->biWidth;
  wanted.biHeight = input.Get()->biHeight;
  wanted.biPlanes = 1;
  wanted.biBitCount = 32;
  wanted.biSizeImage =
      static_cast<DWORD>(wanted.biWidth) * static_cast<DWORD>(wanted.biHeight) * 4 + 4096;
  Check(output.Holds(wanted), "wrong suggested format");
  Check(output.GapsIntact(), "a write beside the suggested format");
}

void RandomHost::DecompressBegin(OpenInstance& instance) {
  InstanceModel& model = instance.model;
  const BITMAPINFOHEADER bitmap = RandomBitmap(random_);
  const BITMAPINFOHEADER format = OutputFor(random_, bitmap);
  HeaderArgument input(RandomStream(random_, bitmap), random_.OneIn(20));
  HeaderArgument output(format, random_.OneIn(20));
  const LRESULT query =
      model.DecompressQuery(input.Get(), output.Get(), ThisHostThread().defectiveHost);
  const LRESULT got = Send(instance.id, ICM_DECOMPRESS_BEGIN, input.Get(), output.Get());
  if (query != ICERR_OK) {
    Expect(got, query);
    return;
  }
  model.decompressor.reset();
  if (output.Get() == nullptr || !DecompressorBegins(format)) {
    Expect(got, ICERR_ERROR);
    return;
  }
  if (got != ICERR_OK && IsMuchMemory(format)) {
    Check(got == ICERR_ERROR || got == ICERR_BADFORMAT, "wrong error");
    return;
  }
  Expect(got, ICERR_OK);
  model.decompressor = {format, ThisHostThread().processors > 1};
  model.strayHeaders = false;
  ++counts_.begins;
}

void RandomHost::DecompressEnd(OpenInstance& instance) {
  Expect(Send(instance.id, ICM_DECOMPRESS_END, WildParameter(), WildParameter()), ICERR_OK);
  instance.model.decompressor.reset();
}

}  // namespace qivm::test
