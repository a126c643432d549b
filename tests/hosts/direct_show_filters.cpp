#include "tests/hosts/direct_show_filters.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

namespace qivm::test {

namespace {

constexpr REFERENCE_TIME kFrameTime = 400000;  // in units of 100 ns
constexpr wchar_t kPinName[] = L"Pin";

/// An enumerator of one pin.
class OnePin : public IEnumPins {
 public:
  explicit OnePin(IPin* pin) : pin_(pin) {}
  virtual ~OnePin() = default;

  HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IUnknown || id == IID_IEnumPins ? this : nullptr;
    if (*object == nullptr) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG WINAPI AddRef() override { return ++references_; }
  ULONG WINAPI Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  HRESULT WINAPI Next(ULONG count, IPin** pins, ULONG* fetched) override {
    const bool given = !done_ && count > 0;
    if (given) {
      pin_.CopyTo(pins);
      done_ = true;
    }
    if (fetched != nullptr) {
      *fetched = given ? 1 : 0;
    }
    return given && count == 1 ? S_OK : S_FALSE;
  }
  HRESULT WINAPI Skip(ULONG count) override {
    done_ = done_ || count > 0;
    return S_OK;
  }
  HRESULT WINAPI Reset() override {
    done_ = false;
    return S_OK;
  }
  HRESULT WINAPI Clone(IEnumPins** pins) override {
    *pins = new OnePin(pin_.Get());
    (*pins)->AddRef();
    return S_OK;
  }

 private:
  std::atomic<ULONG> references_ = 0;
  ComPtr<IPin> pin_;
  bool done_ = false;
};

}  // namespace

void Require(HRESULT result, const char* what) {
  if (FAILED(result)) {
    throw std::runtime_error(std::string(what) +
                             " failed: " + std::to_string(static_cast<unsigned long>(result)));
  }
}

GUID SubtypeOf(const BITMAPINFOHEADER& header) {
  if (header.biCompression == BI_RGB) {
    return header.biBitCount == 24 ? MEDIASUBTYPE_RGB24 : MEDIASUBTYPE_RGB32;
  }
  GUID subtype = MEDIATYPE_Video;  // the one with 'vids' in the place of the code
  subtype.Data1 = header.biCompression;
  return subtype;
}

MediaType::MediaType(const BITMAPINFOHEADER& header)
    : format_(offsetof(VIDEOINFOHEADER, bmiHeader) + header.biSize) {
  auto* const info = reinterpret_cast<VIDEOINFOHEADER*>(format_.data());
  info->AvgTimePerFrame = kFrameTime;
  std::memcpy(&info->bmiHeader, &header, header.biSize);
  type_.majortype = MEDIATYPE_Video;
  type_.subtype = SubtypeOf(header);
  type_.bFixedSizeSamples = header.biSize == sizeof(BITMAPINFOHEADER);
  type_.lSampleSize = header.biSizeImage;
  type_.formattype = FORMAT_VideoInfo;
  type_.cbFormat = static_cast<ULONG>(format_.size());
  type_.pbFormat = format_.data();
}

MediaType::MediaType(const AM_MEDIA_TYPE& type)
    : format_(type.pbFormat, type.pbFormat + type.cbFormat), type_(type) {
  type_.pbFormat = format_.data();
  type_.pUnk = nullptr;
}

BITMAPINFOHEADER MediaType::Header() const {
  return reinterpret_cast<const VIDEOINFOHEADER*>(format_.data())->bmiHeader;
}

HRESULT MediaType::CopyTo(AM_MEDIA_TYPE* type) const {
  *type = type_;
  type->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(format_.size()));
  if (type->pbFormat == nullptr) {
    return E_OUTOFMEMORY;
  }
  std::copy(format_.begin(), format_.end(), type->pbFormat);
  return S_OK;
}

HRESULT EndFilter::QueryInterface(REFIID id, void** object) {
  if (id != IID_IUnknown && id != IID_IPersist && id != IID_IMediaFilter && id != IID_IBaseFilter) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  *object = static_cast<IBaseFilter*>(this);
  AddRef();
  return S_OK;
}

ULONG EndFilter::Release() {
  const ULONG left = --references_;
  if (left == 0) {
    delete this;
  }
  return left;
}

HRESULT EndFilter::GetClassID(CLSID* id) {
  *id = {};
  return S_OK;
}

HRESULT EndFilter::Stop() { return Enter(State_Stopped); }

HRESULT EndFilter::Enter(FILTER_STATE state) {
  state_ = state;
  return S_OK;
}

HRESULT EndFilter::GetState(DWORD /*timeout*/, FILTER_STATE* state) {
  *state = state_;
  return S_OK;
}

HRESULT EndFilter::SetSyncSource(IReferenceClock* clock) {
  clock_ = clock;
  return S_OK;
}

HRESULT EndFilter::GetSyncSource(IReferenceClock** clock) { return clock_.CopyTo(clock); }

HRESULT EndFilter::EnumPins(IEnumPins** pins) {
  *pins = new OnePin(&Pin());
  (*pins)->AddRef();
  return S_OK;
}

HRESULT EndFilter::FindPin(LPCWSTR id, IPin** pin) {
  if (std::wcscmp(id, kPinName) != 0) {
    return VFW_E_NOT_FOUND;
  }
  *pin = &Pin();
  (*pin)->AddRef();
  return S_OK;
}

HRESULT EndFilter::QueryFilterInfo(FILTER_INFO* info) {
  *info = {};
  info->pGraph = graph_;
  if (graph_ != nullptr) {
    graph_->AddRef();
  }
  return S_OK;
}

HRESULT EndFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR /*name*/) {
  graph_ = graph;
  return S_OK;
}

HRESULT EndPin::QueryInterface(REFIID id, void** object) {
  if (id != IID_IUnknown && id != IID_IPin) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  *object = static_cast<IPin*>(this);
  AddRef();
  return S_OK;
}

void EndPin::Join(IPin* peer, const AM_MEDIA_TYPE& type) {
  peer_ = peer;
  connected_ = std::make_unique<MediaType>(type);
}

HRESULT EndPin::Connect(IPin* peer, const AM_MEDIA_TYPE* /*type*/) {
  const HRESULT result = peer->ReceiveConnection(this, &accepted_->Get());
  if (SUCCEEDED(result)) {
    Join(peer, accepted_->Get());
  }
  return result;
}

HRESULT EndPin::ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type) {
  if (QueryAccept(type) != S_OK) {
    return VFW_E_TYPE_NOT_ACCEPTED;
  }
  Join(peer, *type);
  return S_OK;
}

HRESULT EndPin::Disconnect() {
  if (peer_ == nullptr) {
    return S_FALSE;
  }
  peer_.Reset();
  connected_.reset();
  return S_OK;
}

HRESULT EndPin::ConnectedTo(IPin** peer) {
  peer_.CopyTo(peer);
  return peer_ != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT EndPin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
  return connected_ != nullptr ? connected_->CopyTo(type) : VFW_E_NOT_CONNECTED;
}

HRESULT EndPin::QueryPinInfo(PIN_INFO* info) {
  *info = {.pFilter = &filter_, .dir = direction_, .achName = L"Pin"};
  filter_.AddRef();
  return S_OK;
}

HRESULT EndPin::QueryDirection(PIN_DIRECTION* direction) {
  *direction = direction_;
  return S_OK;
}

HRESULT EndPin::QueryId(LPWSTR* id) {
  *id = static_cast<LPWSTR>(CoTaskMemAlloc(sizeof(kPinName)));
  if (*id == nullptr) {
    return E_OUTOFMEMORY;
  }
  std::memcpy(*id, kPinName, sizeof(kPinName));
  return S_OK;
}

HRESULT EndPin::QueryAccept(const AM_MEDIA_TYPE* type) {
  return accepted_ != nullptr && type->subtype == accepted_->Subtype() ? S_OK : S_FALSE;
}

void PushSource::UseAllocator() {
  Require(pin_.Peer()->QueryInterface(IID_PPV_ARGS(input_.ReleaseAndGetAddressOf())),
          "the peer's IMemInputPin");
  if (FAILED(input_->GetAllocator(allocator_.ReleaseAndGetAddressOf()))) {
    Require(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(allocator_.ReleaseAndGetAddressOf())),
            "making an allocator");
  }
  ALLOCATOR_PROPERTIES wanted = {
      .cBuffers = 1,
      .cbBuffer = static_cast<long>(pin_.ConnectionType().Header().biSizeImage),
      .cbAlign = 1,
      .cbPrefix = 0};
  ALLOCATOR_PROPERTIES actual = {};
  Require(allocator_->SetProperties(&wanted, &actual), "setting the allocator up");
  Require(input_->NotifyAllocator(allocator_.Get(), FALSE), "NotifyAllocator");
  Require(allocator_->Commit(), "committing the allocator");
}

HRESULT PushSource::Enter(FILTER_STATE state) {
  if (State() == State_Stopped && state != State_Stopped) {
    UseAllocator();
  } else if (state == State_Stopped && allocator_ != nullptr) {
    allocator_->Decommit();
  }
  return EndFilter::Enter(state);
}

HRESULT PushSource::Push(std::span<const std::uint8_t> frame, LONGLONG number) {
  ComPtr<IMediaSample> sample;
  Require(allocator_->GetBuffer(sample.GetAddressOf(), nullptr, nullptr, 0), "getting a buffer");
  BYTE* buffer = nullptr;
  Require(sample->GetPointer(&buffer), "the buffer's address");
  if (frame.size() > static_cast<std::size_t>(sample->GetSize())) {
    throw std::runtime_error("the frame is larger than its buffer");
  }
  std::copy(frame.begin(), frame.end(), buffer);
  REFERENCE_TIME begin = number * kFrameTime;
  REFERENCE_TIME end = begin + kFrameTime;
  Require(sample->SetActualDataLength(static_cast<LONG>(frame.size())), "SetActualDataLength");
  Require(sample->SetTime(&begin, &end), "SetTime");
  Require(sample->SetSyncPoint(TRUE), "SetSyncPoint");
  return input_->Receive(sample.Get());
}

HRESULT PictureSink::SinkPin::QueryInterface(REFIID id, void** object) {
  if (id != IID_IMemInputPin) {
    return EndPin::QueryInterface(id, object);
  }
  *object = static_cast<IMemInputPin*>(this);
  AddRef();
  return S_OK;
}

HRESULT PictureSink::SinkPin::EndOfStream() {
  ++ends;
  return S_OK;
}

HRESULT PictureSink::SinkPin::Receive(IMediaSample* sample) {
  BYTE* picture = nullptr;
  Require(sample->GetPointer(&picture), "the picture's address");
  pictures.emplace_back(picture, picture + sample->GetActualDataLength());
  return S_OK;
}

HRESULT PictureSink::SinkPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* received) {
  std::for_each(samples, samples + count, [this](IMediaSample* sample) { Receive(sample); });
  *received = count;
  return S_OK;
}

}  // namespace qivm::test
