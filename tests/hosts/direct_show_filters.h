#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <dshow.h>
#include <memory>
#include <span>
#include <utility>
#include <vector>
#include <wrl/client.h>

#include "tests/driver/pictures.h"

/// The two ends of a DirectShow graph: a filter that gives compressed frames and one that takes
/// pictures. What is between them is the system's.
namespace qivm::test {

using Microsoft::WRL::ComPtr;

/// Throws when a call of the system's failed.
void Require(HRESULT result, const char* what);

/// The subtype by which DirectShow knows a bitmap format or a compressed one.
GUID SubtypeOf(const BITMAPINFOHEADER& header);

/// A video media type at 25 frames a second. The whole of `header`, biSize bytes, is part of it.
class MediaType {
 public:
  explicit MediaType(const BITMAPINFOHEADER& header);
  /// A copy of any.
  explicit MediaType(const AM_MEDIA_TYPE& type);
  MediaType(const MediaType& other) : MediaType(other.type_) {}
  MediaType& operator=(const MediaType&) = delete;

  const AM_MEDIA_TYPE& Get() const { return type_; }
  const GUID& Subtype() const { return type_.subtype; }
  /// The bitmap header inside.
  BITMAPINFOHEADER Header() const;
  /// For callers that free it with CoTaskMemFree, the format as well.
  HRESULT CopyTo(AM_MEDIA_TYPE* type) const;

 private:
  std::vector<BYTE> format_;
  AM_MEDIA_TYPE type_ = {};
};

class EndPin;

/// A filter with one pin. It does nothing by itself: it is told to give, or is given.
class EndFilter : public IBaseFilter {
 public:
  virtual ~EndFilter() = default;

  HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
  ULONG WINAPI AddRef() override { return ++references_; }
  ULONG WINAPI Release() override;
  HRESULT WINAPI GetClassID(CLSID* id) override;
  HRESULT WINAPI Stop() override;
  HRESULT WINAPI Pause() override { return Enter(State_Paused); }
  HRESULT WINAPI Run(REFERENCE_TIME /*start*/) override { return Enter(State_Running); }
  HRESULT WINAPI GetState(DWORD timeout, FILTER_STATE* state) override;
  HRESULT WINAPI SetSyncSource(IReferenceClock* clock) override;
  HRESULT WINAPI GetSyncSource(IReferenceClock** clock) override;
  HRESULT WINAPI EnumPins(IEnumPins** pins) override;
  HRESULT WINAPI FindPin(LPCWSTR id, IPin** pin) override;
  HRESULT WINAPI QueryFilterInfo(FILTER_INFO* info) override;
  HRESULT WINAPI JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
  HRESULT WINAPI QueryVendorInfo(LPWSTR* /*info*/) override { return E_NOTIMPL; }

  virtual EndPin& Pin() = 0;
  FILTER_STATE State() const { return state_; }

 protected:
  virtual HRESULT Enter(FILTER_STATE state);

 private:
  std::atomic<ULONG> references_ = 0;
  FILTER_STATE state_ = State_Stopped;
  ComPtr<IReferenceClock> clock_;
  IFilterGraph* graph_ = nullptr;  // which holds the filter
};

/// The pin of such a filter, which lives as long as the filter.
class EndPin : public IPin {
 public:
  EndPin(EndFilter& filter, PIN_DIRECTION direction) : filter_(filter), direction_(direction) {}
  virtual ~EndPin() = default;

  HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
  ULONG WINAPI AddRef() override { return filter_.AddRef(); }
  ULONG WINAPI Release() override { return filter_.Release(); }
  HRESULT WINAPI Connect(IPin* peer, const AM_MEDIA_TYPE* type) override;
  HRESULT WINAPI ReceiveConnection(IPin* peer, const AM_MEDIA_TYPE* type) override;
  HRESULT WINAPI Disconnect() override;
  HRESULT WINAPI ConnectedTo(IPin** peer) override;
  HRESULT WINAPI ConnectionMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT WINAPI QueryPinInfo(PIN_INFO* info) override;
  HRESULT WINAPI QueryDirection(PIN_DIRECTION* direction) override;
  HRESULT WINAPI QueryId(LPWSTR* id) override;
  HRESULT WINAPI QueryAccept(const AM_MEDIA_TYPE* type) override;
  HRESULT WINAPI EnumMediaTypes(IEnumMediaTypes** /*types*/) override { return E_NOTIMPL; }
  HRESULT WINAPI QueryInternalConnections(IPin** /*pins*/, ULONG* /*count*/) override {
    return E_NOTIMPL;
  }
  HRESULT WINAPI EndOfStream() override { return S_OK; }
  HRESULT WINAPI BeginFlush() override { return S_OK; }
  HRESULT WINAPI EndFlush() override { return S_OK; }
  HRESULT WINAPI NewSegment(REFERENCE_TIME /*start*/, REFERENCE_TIME /*stop*/,
                            double /*rate*/) override {
    return S_OK;
  }

  /// The only type that the pin agrees to.
  void Accept(const MediaType& type) { accepted_ = std::make_unique<MediaType>(type); }
  IPin* Peer() const { return peer_.Get(); }
  const MediaType& ConnectionType() const { return *connected_; }

 protected:
  EndFilter& Filter() { return filter_; }
  void Join(IPin* peer, const AM_MEDIA_TYPE& type);

 private:
  EndFilter& filter_;
  PIN_DIRECTION direction_;
  std::unique_ptr<MediaType> accepted_;
  ComPtr<IPin> peer_;
  std::unique_ptr<MediaType> connected_;
};

/// Gives the frames that it is told to give.
class PushSource : public EndFilter {
 public:
  explicit PushSource(const MediaType& type) : pin_(*this, PINDIR_OUTPUT) { pin_.Accept(type); }

  EndPin& Pin() override { return pin_; }
  /// Gives one frame to the filter that is connected, at the time of this number.
  HRESULT Push(std::span<const std::uint8_t> frame, LONGLONG number);
  HRESULT PushEndOfStream() { return pin_.Peer()->EndOfStream(); }

 protected:
  HRESULT Enter(FILTER_STATE state) override;

 private:
  /// Agrees with the filter that is connected on where the frames are put.
  void UseAllocator();

  EndPin pin_;
  ComPtr<IMemAllocator> allocator_;
  ComPtr<IMemInputPin> input_;
};

/// Keeps the pictures that it is given.
class PictureSink : public EndFilter {
 public:
  PictureSink() : pin_(*this) {}

  EndPin& Pin() override { return pin_; }
  /// The pictures since the last call.
  std::vector<std::vector<std::uint8_t>> Take() { return std::exchange(pin_.pictures, {}); }
  int EndsOfStream() const { return pin_.ends; }
  const MediaType& ConnectionType() const { return pin_.ConnectionType(); }

 private:
  class SinkPin : public EndPin, public IMemInputPin {
   public:
    explicit SinkPin(EndFilter& filter) : EndPin(filter, PINDIR_INPUT) {}

    HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
    ULONG WINAPI AddRef() override { return EndPin::AddRef(); }
    ULONG WINAPI Release() override { return EndPin::Release(); }
    HRESULT WINAPI EndOfStream() override;
    HRESULT WINAPI GetAllocator(IMemAllocator** /*allocator*/) override {
      return VFW_E_NO_ALLOCATOR;
    }
    HRESULT WINAPI NotifyAllocator(IMemAllocator* /*allocator*/, BOOL /*readOnly*/) override {
      return S_OK;
    }
    HRESULT WINAPI GetAllocatorRequirements(ALLOCATOR_PROPERTIES* /*properties*/) override {
      return E_NOTIMPL;
    }
    HRESULT WINAPI Receive(IMediaSample* sample) override;
    HRESULT WINAPI ReceiveMultiple(IMediaSample** samples, LONG count, LONG* received) override;
    HRESULT WINAPI ReceiveCanBlock() override { return S_FALSE; }

    std::vector<std::vector<std::uint8_t>> pictures;
    int ends = 0;
  };

  SinkPin pin_;
};

}  // namespace qivm::test
