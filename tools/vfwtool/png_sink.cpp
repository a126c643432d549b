#include "tools/vfwtool/png_sink.h"

#include <windows.h>

#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>
#include <wincodec.h>

#include "tools/vfwtool/repack.h"
#include "tools/vfwtool/text.h"
#include "tools/vfwtool/tool_error.h"
#include "tools/vfwtool/windows_text.h"

namespace qivm {
namespace {

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using Com = std::unique_ptr<Interface, Releaser>;

void Check(HRESULT result, const std::string& name, const char* what) {
  if (FAILED(result)) {
    std::array<char, 11> digits{};
    std::snprintf(digits.data(), digits.size(), "0x%08lX", static_cast<unsigned long>(result));
    throw ToolError(ExitCode::kOutput, Concat(name, ": ", what, " (result ", digits.data(), ")"));
  }
}

/// Keeps COM ready for use by this thread.
class ComLibrary {
 public:
  ComLibrary() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ComLibrary(const ComLibrary&) = delete;
  ComLibrary& operator=(const ComLibrary&) = delete;
  ~ComLibrary() {
    if (SUCCEEDED(result_)) {
      CoUninitialize();
    }
  }

 private:
  HRESULT result_;
};

}  // namespace

class PngSink::Encoder {
 public:
  explicit Encoder(const std::string& name) {
    IWICImagingFactory* factory = nullptr;
    Check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                           IID_IWICImagingFactory, reinterpret_cast<void**>(&factory)),
          name, "the system has no imaging component, which writes PNG files");
    factory_.reset(factory);
  }

  /// `rows` are 24-bit colours from the top down.
  void Write(const std::string& name, const FrameLayout& layout, std::vector<std::uint8_t>& rows) {
    IWICStream* streamObject = nullptr;
    Check(factory_->CreateStream(&streamObject), name, "no stream can be made");
    const Com<IWICStream> stream(streamObject);
    Check(stream->InitializeFromFilename(Utf16(name).c_str(), GENERIC_WRITE), name,
          "cannot be created");
    IWICBitmapEncoder* encoderObject = nullptr;
    Check(factory_->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoderObject), name,
          "the system does not write PNG files");
    const Com<IWICBitmapEncoder> encoder(encoderObject);
    Check(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache), name, "cannot be written");
    IWICBitmapFrameEncode* frameObject = nullptr;
    Check(encoder->CreateNewFrame(&frameObject, nullptr), name, "cannot be written");
    const Com<IWICBitmapFrameEncode> frame(frameObject);
    WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
    Check(frame->Initialize(nullptr), name, "cannot be written");
    Check(frame->SetSize(layout.width, layout.height), name, "cannot be written");
    Check(frame->SetPixelFormat(&format), name, "cannot be written");
    // An encoder that lacks a format names the next best one, in which these rows are not.
    Check(IsEqualGUID(format, GUID_WICPixelFormat24bppBGR) != FALSE
              ? S_OK
              : WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT,
          name, "the system's PNG files have no 24-bit colours");
    Check(frame->WritePixels(layout.height, static_cast<UINT>(layout.RowBytes()),
                             static_cast<UINT>(rows.size()), rows.data()),
          name, "cannot be written");
    Check(frame->Commit(), name, "cannot be written; is the disk full?");
    Check(encoder->Commit(), name, "cannot be written; is the disk full?");
  }

 private:
  ComLibrary library_;
  Com<IWICImagingFactory> factory_;
};

PngSink::PngSink(const std::string& name, const FrameLayout& layout)
    : ImageSink(name, layout), encoder_(std::make_unique<Encoder>(name)) {}

PngSink::~PngSink() = default;

void PngSink::WriteImage(const std::string& name, std::span<const std::uint8_t> picture) {
  const FrameLayout layout{PixelFormat::kRgb24, Layout().width, Layout().height};
  std::vector<std::uint8_t> rows(layout.FrameBytes());
  Repack(Layout(), picture, layout.format, rows);
  FlipRows(layout, rows);
  encoder_->Write(name, layout, rows);
}

}  // namespace qivm
