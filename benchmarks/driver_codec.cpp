// vfw_bench: the installable driver, by messages to its DriverProc as the compression manager sends
// them.

#include <windows.h>

#include <vfw.h>

#include <stdexcept>
#include <string>

#include "benchmarks/frame_codec.h"

namespace qivm::bench {

namespace {

/// BITMAPINFOHEADER with the room that the codec's format needs behind it.
struct CodedFormat {
  BITMAPINFOHEADER header;
  unsigned char extra[1024];
};

BITMAPINFOHEADER SystemHeader(const BitmapInfoHeader& header) {
  BITMAPINFOHEADER copy = {};
  copy.biSize = sizeof(copy);
  copy.biWidth = header.biWidth;
  copy.biHeight = header.biHeight;
  copy.biPlanes = header.biPlanes;
  copy.biBitCount = header.biBitCount;
  copy.biCompression = header.biCompression;
  copy.biSizeImage = header.biSizeImage;
  return copy;
}

class DriverCodec final : public FrameCodec {
 public:
  explicit DriverCodec(const FrameTask& task)
      : decode_(task.direction == FrameTask::Direction::decode),
        bitmap_(SystemHeader(task.BitmapHeader())),
        quality_(task.quality) {
    Load(task.driver);
    Open();
    if (decode_) {
      coded_.header = bitmap_;
      coded_.header.biCompression = kQivm;
      coded_.header.biBitCount = 24;
      Require(Send(ICM_DECOMPRESS_BEGIN, Parameter(&coded_), Parameter(&bitmap_)), "begin");
    } else {
      if (Send(ICM_COMPRESS_GET_FORMAT, Parameter(&bitmap_), 0) >
          static_cast<LRESULT>(sizeof(coded_))) {
        throw std::runtime_error("the driver's format is larger than expected");
      }
      Require(Send(ICM_COMPRESS_GET_FORMAT, Parameter(&bitmap_), Parameter(&coded_)), "get format");
      Require(Send(ICM_COMPRESS_BEGIN, Parameter(&bitmap_), Parameter(&coded_)), "begin");
    }
  }

  ~DriverCodec() override {
    Send(decode_ ? ICM_DECOMPRESS_END : ICM_COMPRESS_END, 0, 0);
    Send(DRV_CLOSE, 0, 0);
    driverProc_(0, nullptr, DRV_FREE, 0, 0);
    FreeLibrary(library_);
  }
  DriverCodec(const DriverCodec&) = delete;
  DriverCodec& operator=(const DriverCodec&) = delete;

  void Decode(std::span<const std::uint8_t> frame, std::span<std::uint8_t> bitmap) override {
    coded_.header.biSizeImage = static_cast<DWORD>(frame.size());
    ICDECOMPRESS request = {};
    request.lpbiInput = &coded_.header;
    request.lpInput = const_cast<std::uint8_t*>(frame.data());
    request.lpbiOutput = &bitmap_;
    request.lpOutput = bitmap.data();
    Require(Send(ICM_DECOMPRESS, Parameter(&request), sizeof(request)), "decompress");
  }

  std::size_t Encode(std::span<const std::uint8_t> bitmap, std::span<std::uint8_t> frame) override {
    DWORD frameFlags = 0;
    ICCOMPRESS request = {};
    request.dwFlags = ICCOMPRESS_KEYFRAME;
    request.lpbiOutput = &coded_.header;
    request.lpOutput = frame.data();
    request.lpbiInput = &bitmap_;
    request.lpInput = const_cast<std::uint8_t*>(bitmap.data());
    request.lpdwFlags = &frameFlags;
    request.dwQuality = quality_;
    Require(Send(ICM_COMPRESS, Parameter(&request), sizeof(request)), "compress");
    if ((frameFlags & AVIIF_KEYFRAME) == 0) {
      throw std::runtime_error("the driver did not code a frame");
    }
    return coded_.header.biSizeImage;
  }

 private:
  using DriverProcedure = LRESULT(CALLBACK*)(DWORD_PTR, HDRVR, UINT, LPARAM, LPARAM);

  static LPARAM Parameter(const void* pointer) { return reinterpret_cast<LPARAM>(pointer); }

  static void Require(LRESULT result, const char* what) {
    if (result != ICERR_OK) {
      throw std::runtime_error(std::string("the driver answers ") + what + " with " +
                               std::to_string(result));
    }
  }

  LRESULT Send(UINT message, LPARAM parameter1, LPARAM parameter2) {
    return driverProc_(id_, nullptr, message, parameter1, parameter2);
  }

  void Load(const std::string& file) {
    library_ = LoadLibraryA(file.c_str());
    if (library_ == nullptr) {
      throw std::runtime_error("cannot load the driver '" + file + "' (--driver)");
    }
    // By way of a plain function pointer: the compiler warns of any other conversion.
    driverProc_ = reinterpret_cast<DriverProcedure>(
        reinterpret_cast<void (*)()>(GetProcAddress(library_, "DriverProc")));
    if (driverProc_ == nullptr || driverProc_(0, nullptr, DRV_LOAD, 0, 0) == 0) {
      throw std::runtime_error(file + " is no driver");
    }
  }

  void Open() {
    ICOPEN open = {};
    open.dwSize = sizeof(open);
    open.fccType = ICTYPE_VIDEO;
    open.fccHandler = kQivm;
    open.dwFlags = decode_ ? ICMODE_DECOMPRESS : ICMODE_COMPRESS;
    id_ = static_cast<DWORD_PTR>(driverProc_(0, nullptr, DRV_OPEN, 0, Parameter(&open)));
    if (id_ == 0) {
      throw std::runtime_error("the driver does not open");
    }
  }

  bool decode_;
  BITMAPINFOHEADER bitmap_;
  CodedFormat coded_ = {};
  DWORD quality_;
  HMODULE library_ = nullptr;
  DriverProcedure driverProc_ = nullptr;
  DWORD_PTR id_ = 0;
};

}  // namespace

std::unique_ptr<FrameCodec> MakeFrameCodec(const FrameTask& task) {
  return std::make_unique<DriverCodec>(task);
}

}  // namespace qivm::bench
