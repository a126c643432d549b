#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "tests/driver/driver_module.h"
#include "tests/driver/driver_registration.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/import_hook.h"
#include "tests/hosts/direct_show_filters.h"
#include "tests/support/wine.h"

namespace qivm::test {

namespace {

/// The system's filter around the codecs of the compression manager.
constexpr CLSID kAviDecompressor = {
    0xCF49D4E0, 0x1115, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

constexpr unsigned kFrames = 3;
/// What hosts of DirectShow know of the codec's formats: the others have no subtype there.
constexpr std::span kFormats(kPixelFormats, 5);

class ComLibrary {
 public:
  ComLibrary() { Require(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx"); }
  ~ComLibrary() { CoUninitialize(); }
  ComLibrary(const ComLibrary&) = delete;
  ComLibrary& operator=(const ComLibrary&) = delete;
};

/// Frames of one size as a player gets them: with the codec's format, and as the codec itself
/// decompresses them.
class Stream {
 public:
  Stream(const DriverModule& driver, LONG width, LONG height)
      : driver_(driver), source_(Header(kYuy2, width, height)) {
    const Instance instance(driver_);
    EXPECT_EQ(instance.Send(ICM_COMPRESS_GET_FORMAT, &source_, format_.data()), ICERR_OK);
    EXPECT_EQ(BeginCompress(instance, source_), ICERR_OK);
    for (unsigned number = 0; number < kFrames; ++number) {
      frames_.push_back(Compress(instance, source_, MakePicture(source_, number)));
    }
  }

  MediaType Type() const {
    return MediaType(*reinterpret_cast<const BITMAPINFOHEADER*>(format_.data()));
  }
  BITMAPINFOHEADER PictureHeader(const PixelFormat& format) const {
    return Header(format, source_.biWidth, source_.biHeight);
  }
  const std::vector<std::uint8_t>& Frame(unsigned number) const { return frames_[number]; }
  std::vector<std::uint8_t> Picture(unsigned number, const PixelFormat& format) const {
    const Instance instance(driver_);
    const BITMAPINFOHEADER header = PictureHeader(format);
    EXPECT_EQ(BeginDecompress(instance, header), ICERR_OK);
    return Decompress(instance, header, frames_[number]);
  }

 private:
  const DriverModule& driver_;
  BITMAPINFOHEADER source_;
  std::array<BYTE, 252> format_ = {};
  std::vector<std::vector<std::uint8_t>> frames_;
};

/// Wine 8's filter begins to decompress into the stream's format instead of the pictures'. This
/// gives the codec what the filter has agreed on, while it lives.
class BeginRepair {
 public:
  explicit BeginRepair(const PictureSink& sink) {
    if (IsWine()) {
      g_sink = &sink;
      hook_.emplace(GetModuleHandleA("quartz.dll"), "ICSendMessage",
                    reinterpret_cast<void*>(&Send));
    }
  }

 private:
  static LRESULT WINAPI Send(HIC codec, UINT message, DWORD_PTR input, DWORD_PTR output) {
    BITMAPINFOHEADER picture = {};
    if (message == ICM_DECOMPRESS_BEGIN &&
        reinterpret_cast<const BITMAPINFOHEADER*>(output)->biCompression == kQivmCode) {
      picture = g_sink->ConnectionType().Header();
      output = reinterpret_cast<DWORD_PTR>(&picture);
    }
    return ICSendMessage(codec, message, input, output);
  }

  static inline const PictureSink* g_sink = nullptr;
  std::optional<ImportHook> hook_;
};

/// A player's graph: the stream, the system's filter, and where the pictures go.
class Graph {
 public:
  explicit Graph(const Stream& stream) : source_(new PushSource(stream.Type())) {
    Require(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(graph_.GetAddressOf())),
            "making a graph");
    Require(CoCreateInstance(kAviDecompressor, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(decompressor_.GetAddressOf())),
            "making the AVI decompressor");
    Require(graph_.As(&control_), "the graph's controls");
    Add(source_.Get());
    Add(decompressor_.Get());
    Add(sink_.Get());
    FindPins();
    ConnectSource();
    repair_.emplace(*sink_.Get());
  }

  /// Connects the picture sink so that it gets this format; the sink refuses all others.
  HRESULT Connect(const BITMAPINFOHEADER& format) {
    const MediaType type(format);
    sink_->Pin().Accept(type);
    return graph_->ConnectDirect(output_.Get(), &sink_->Pin(), &type.Get());
  }
  void DisconnectSink() {
    Require(graph_->Disconnect(output_.Get()), "disconnecting the decompressor");
    Require(graph_->Disconnect(&sink_->Pin()), "disconnecting the sink");
  }
  /// Takes another stream in the place of the one there was. The sink must not be connected.
  void ChangeStream(const Stream& stream) {
    Require(graph_->Disconnect(&source_->Pin()), "disconnecting the source");
    Require(graph_->Disconnect(input_.Get()), "disconnecting the decompressor");
    source_->Pin().Accept(stream.Type());
    ConnectSource();
  }

  /// The subtypes that the filter offers of its own accord.
  std::vector<GUID> Offered() const {
    std::vector<GUID> subtypes;
    ComPtr<IEnumMediaTypes> types;
    Require(output_->EnumMediaTypes(types.GetAddressOf()), "the decompressor's types");
    for (AM_MEDIA_TYPE* type = nullptr; types->Next(1, &type, nullptr) == S_OK;) {
      subtypes.push_back(type->subtype);
      CoTaskMemFree(type->pbFormat);
      CoTaskMemFree(type);
    }
    return subtypes;
  }

  void Run() { Require(control_->Run(), "running"); }
  void Stop() { Require(control_->Stop(), "stopping"); }
  PushSource& Source() { return *source_.Get(); }
  PictureSink& Sink() { return *sink_.Get(); }

 private:
  void Add(IBaseFilter* filter) { Require(graph_->AddFilter(filter, nullptr), "adding a filter"); }
  void FindPins() {
    ComPtr<IEnumPins> pins;
    Require(decompressor_->EnumPins(pins.GetAddressOf()), "the decompressor's pins");
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
      PIN_DIRECTION direction = {};
      Require(pin->QueryDirection(&direction), "a pin's direction");
      (direction == PINDIR_INPUT ? input_ : output_) = pin;
    }
  }
  void ConnectSource() {
    Require(graph_->ConnectDirect(&source_->Pin(), input_.Get(), nullptr), "connecting the source");
  }

  ComPtr<PushSource> source_;
  ComPtr<PictureSink> sink_{new PictureSink};
  ComPtr<IGraphBuilder> graph_;
  ComPtr<IMediaControl> control_;
  ComPtr<IBaseFilter> decompressor_;
  ComPtr<IPin> input_;
  ComPtr<IPin> output_;
  std::optional<BeginRepair> repair_;
};

class DirectShowTest : public DriverTest {
 protected:
  /// Plays all frames and compares each with what the codec itself makes of it.
  void ExpectPictures(Graph& graph, const Stream& stream, const PixelFormat& format) {
    graph.Run();
    for (unsigned number = 0; number < kFrames; ++number) {
      EXPECT_EQ(graph.Source().Push(stream.Frame(number), number), S_OK);
      const auto pictures = graph.Sink().Take();
      ASSERT_EQ(pictures.size(), 1U) << "frame " << number;
      EXPECT_TRUE(pictures[0] == stream.Picture(number, format)) << "frame " << number;
    }
    graph.Stop();
  }

  const ComLibrary com_;
  const DriverRegistration registration_{"QIVM"};
  const Stream stream_{driver_, 320, 240};
};

class DirectShowFormatTest : public DirectShowTest,
                             public ::testing::WithParamInterface<PixelFormat> {};
INSTANTIATE_TEST_SUITE_P(Formats, DirectShowFormatTest, ::testing::ValuesIn(kFormats),
                         PixelFormatName());

TEST_P(DirectShowFormatTest, PicturesAreThoseOfTheCodec) {
  Graph graph(stream_);
  ASSERT_EQ(graph.Connect(stream_.PictureHeader(GetParam())), S_OK);
  EXPECT_EQ(graph.Sink().ConnectionType().Header().biBitCount, GetParam().bitCount);
  ExpectPictures(graph, stream_, GetParam());
}

TEST_F(DirectShowTest, TheFilterOffersRgbAndPackedYuv) {
  const std::vector<GUID> offered = Graph(stream_).Offered();
  for (const PixelFormat& format : {kRgb24, kRgb32, kYuy2}) {
    const GUID subtype = SubtypeOf(stream_.PictureHeader(format));
    EXPECT_NE(std::find(offered.begin(), offered.end(), subtype), offered.end()) << format.name;
  }
}

TEST_F(DirectShowTest, OtherPicturesThanTheCodecsAreRefused) {
  Graph graph(stream_);
  EXPECT_LT(graph.Connect(stream_.PictureHeader({"Rgb16", BI_RGB, 16})), 0);
  EXPECT_LT(graph.Connect(stream_.PictureHeader({"Yv12", MAKEFOURCC('Y', 'V', '1', '2'), 12})), 0);
  // And nothing is the worse for it.
  ASSERT_EQ(graph.Connect(stream_.PictureHeader(kRgb32)), S_OK);
  ExpectPictures(graph, stream_, kRgb32);
}

TEST_F(DirectShowTest, StopsAndStartsAgain) {
  Graph graph(stream_);
  ASSERT_EQ(graph.Connect(stream_.PictureHeader(kYuy2)), S_OK);
  for (int turn = 0; turn < 3; ++turn) {
    ExpectPictures(graph, stream_, kYuy2);
  }
}

TEST_F(DirectShowTest, TheEndOfTheStreamArrives) {
  Graph graph(stream_);
  ASSERT_EQ(graph.Connect(stream_.PictureHeader(kRgb24)), S_OK);
  graph.Run();
  EXPECT_EQ(graph.Source().Push(stream_.Frame(0), 0), S_OK);
  EXPECT_EQ(graph.Source().PushEndOfStream(), S_OK);
  EXPECT_EQ(graph.Sink().EndsOfStream(), 1);
  graph.Stop();
}

TEST_F(DirectShowTest, FormatsAndSizesCanBeChangedWhileStopped) {
  Graph graph(stream_);
  ASSERT_EQ(graph.Connect(stream_.PictureHeader(kRgb24)), S_OK);
  ExpectPictures(graph, stream_, kRgb24);
  graph.DisconnectSink();
  ASSERT_EQ(graph.Connect(stream_.PictureHeader(kYuy2)), S_OK);
  ExpectPictures(graph, stream_, kYuy2);
  graph.DisconnectSink();

  const Stream larger(driver_, 720, 576);
  graph.ChangeStream(larger);
  ASSERT_EQ(graph.Connect(larger.PictureHeader(kRgb32)), S_OK);
  ExpectPictures(graph, larger, kRgb32);
}

}  // namespace

}  // namespace qivm::test
