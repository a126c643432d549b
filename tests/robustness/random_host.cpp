#include "tests/robustness/random_host.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <iterator>

#include "tests/robustness/guarded_value.h"
#include "tests/robustness/host_stand_ins.h"
#include "tests/robustness/random_formats.h"

namespace qivm::test {

namespace {

constexpr std::size_t kMostInstances = 4;
constexpr std::size_t kWallBytes = std::size_t{256} * 192 * 4;

template <typename Value>
Value OneOf(Random& random, std::initializer_list<Value> values) {
  return values.begin()[random.Below(static_cast<std::uint32_t>(values.size()))];
}

constexpr auto kDrawingMessages = std::to_array<UINT>(
    {ICM_DRAW_BEGIN, ICM_DRAW, ICM_DRAW_START, ICM_DRAW_STOP, ICM_DRAW_END, ICM_DRAW_FLUSH,
     ICM_DRAW_QUERY, ICM_DRAW_GETTIME, ICM_DRAW_SETTIME, ICM_GETBUFFERSWANTED});
constexpr auto kOtherMessages = std::to_array<UINT>(
    {ICM_COMPRESS_GET_FORMAT, ICM_COMPRESS_GET_SIZE, ICM_COMPRESS_QUERY, ICM_COMPRESS_BEGIN,
     ICM_COMPRESS, ICM_COMPRESS_END, ICM_DECOMPRESS_GET_FORMAT, ICM_DECOMPRESS_QUERY,
     ICM_DECOMPRESS_BEGIN, ICM_DECOMPRESS, ICM_DECOMPRESS_END, ICM_GETSTATE, ICM_SETSTATE,
     ICM_GETINFO, ICM_CONFIGURE, ICM_ABOUT, ICM_GETDEFAULTQUALITY, ICM_GETQUALITY, ICM_SETQUALITY});

bool IsAnswered(UINT message) {
  return std::ranges::find(kDrawingMessages, message) != kDrawingMessages.end() ||
         std::ranges::find(kOtherMessages, message) != kOtherMessages.end();
}

}  // namespace

// How often each is sent, beside the opens and the messages to no instance.
const RandomHost::MessageKind RandomHost::kKinds[] = {
    {3, &RandomHost::SendWithoutEffect},
    {2, &RandomHost::SendToDefaultProcedure},
    {4, &RandomHost::SendUnknown},
    {3, &RandomHost::SendDrawing},
    {1, &RandomHost::ConfigureDriver},
    {3, &RandomHost::ShowDialog},
    {2, &RandomHost::Close},
    {4, &RandomHost::GetInfo},
    {4, &RandomHost::GetState},
    {4, &RandomHost::SetState},
    {4, &RandomHost::GetQuality},
    {3, &RandomHost::SetQuality},
    {6, &RandomHost::CompressQuery},
    {4, &RandomHost::CompressGetFormat},
    {3, &RandomHost::CompressGetSize},
    {6, &RandomHost::CompressBegin},
    {1, &RandomHost::CompressEnd},
    {6, &RandomHost::DecompressQuery},
    {4, &RandomHost::DecompressGetFormat},
    {6, &RandomHost::DecompressBegin},
    {1, &RandomHost::DecompressEnd},
    {18, &RandomHost::Compress},
    {18, &RandomHost::Decompress},
};

RandomHost::RandomHost(const DriverModule& driver, const ReferenceFrames& references,
                       std::size_t lane, std::uint64_t seed)
    : driver_(driver),
      references_(references),
      lane_(lane),
      seed_(seed),
      random_(seed * AccessWatch::kLanes + lane),
      wall_(kWallBytes) {
  wall_.Protect(GuardedBuffer::Access::none);
}

void RandomHost::Run(int messages) {
  for (int i = 0; i < messages; ++i) {
    Step();
  }
}

void RandomHost::CloseAll() {
  while (!instances_.empty()) {
    Close(instances_.front());
  }
}

void RandomHost::Describe() const {
  std::fprintf(stderr, "seed %llu, host %u: its message %llu, 0x%04x\n",
               static_cast<unsigned long long>(seed_), static_cast<unsigned>(lane_),
               static_cast<unsigned long long>(counts_.messages), message_);
}

void RandomHost::Step() {
  ChooseHost();
  if (instances_.empty() || (instances_.size() < kMostInstances && random_.OneIn(40))) {
    Open();
    return;
  }
  if (random_.OneIn(25)) {
    SendWithoutInstance();
    return;
  }
  const auto instance = std::next(
      instances_.begin(),
      static_cast<std::ptrdiff_t>(random_.Below(static_cast<std::uint32_t>(instances_.size()))));
  unsigned weights = 0;
  for (const MessageKind& kind : kKinds) {
    weights += kind.weight;
  }
  unsigned choice = random_.Below(weights);
  const MessageKind* kind = std::begin(kKinds);
  for (; choice >= kind->weight; ++kind) {
    choice -= kind->weight;
  }
  (this->*kind->send)(*instance);
}

void RandomHost::ChooseHost() {
  HostThread& host = ThisHostThread();
  host.processors = OneOf<DWORD>(random_, {1, 2, 3, 64});
  host.defectiveHost = random_.OneIn(8);
  host.dialogResult = random_.Between(-1, 2);
  host.dialogs = 0;
  host.debugTexts = 0;
}

LRESULT RandomHost::Send(DWORD_PTR id, UINT message, Parameter parameter1, Parameter parameter2) {
  ++counts_.messages;
  message_ = message;
  const LRESULT result = driver_.Send(id, message, parameter1, parameter2);
  Check(!AccessWatch::NullIsDue(), "a frame turned away that was not left");
  return result;
}

void RandomHost::Check(bool sound, const char* what) const {
  if (!sound) {
    std::fprintf(stderr, "%s\n", what);
    Describe();
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), kExitCode);
  }
}

void RandomHost::Expect(LRESULT got, LRESULT expected) const {
  if (got != expected) {
    std::fprintf(stderr, "returned %ld instead of %ld\n", static_cast<long>(got),
                 static_cast<long>(expected));
    Check(false, "wrong result");
  }
}

LPARAM RandomHost::WildParameter() {
  return random_.OneIn(2) ? reinterpret_cast<LPARAM>(wall_.Data())
                          : OneOf<LPARAM>(random_, {0, 1, -2, 0x7FFFFFFF});
}

DWORD_PTR RandomHost::AnyId() {
  return random_.OneIn(2) || instances_.empty()
             ? OneOf<DWORD_PTR>(random_, {0, 0xFFFFFFFF, ~DWORD_PTR{0}})
             : instances_.front().id;
}

void RandomHost::Open() {
  if (random_.OneIn(8)) {
    Expect(Send(AnyId(), DRV_OPEN, WildParameter(), nullptr), -1);
    return;
  }
  ICOPEN open = {};
  open.dwSize = random_.Next();
  open.fccType = random_.OneIn(2) ? ICTYPE_VIDEO : random_.Next();
  open.fccHandler =
      random_.OneIn(2) ? kQivmCode : OneOf<DWORD>(random_, {kMmesCode, random_.Next()});
  open.dwVersion = random_.Next();
  open.dwFlags = random_.Next();
  GuardedValue request(open);
  request.MakeReadOnly();
  const auto id = static_cast<DWORD_PTR>(Send(AnyId(), DRV_OPEN, WildParameter(), request.Get()));
  Check(id != 0 && id != ~DWORD_PTR{0}, "no instance");
  for (const OpenInstance& other : instances_) {
    Check(other.id != id, "an id given twice");
  }
  instances_.emplace_back(id, open.fccHandler);
}

void RandomHost::SendWithoutInstance() {
  const auto id = OneOf<DWORD_PTR>(random_, {0, 0xFFFFFFFF, ~DWORD_PTR{0}});
  if (random_.OneIn(8)) {
    Expect(Send(id, DRV_CLOSE, WildParameter(), WildParameter()), 1);
    return;
  }
  const UINT message = random_.OneIn(3) ? kDrawingMessages[random_.Below(kDrawingMessages.size())]
                                        : kOtherMessages[random_.Below(kOtherMessages.size())];
  if ((message == ICM_CONFIGURE || message == ICM_ABOUT) && random_.OneIn(2)) {
    const auto query = OneOf<DWORD_PTR>(random_, {0xFFFFFFFF, ~DWORD_PTR{0}});
    Expect(Send(id, message, query, WildParameter()), ICERR_OK);
  } else {
    Expect(Send(id, message, WildParameter(), WildParameter()), ICERR_ERROR);
  }
  Check(ThisHostThread().dialogs == 0, "a dialog without an instance");
}

void RandomHost::SendWithoutEffect(OpenInstance& /*instance*/) {
  const auto message = OneOf<UINT>(random_, {DRV_LOAD, DRV_ENABLE, DRV_DISABLE, DRV_FREE,
                                             DRV_QUERYCONFIGURE, DRV_INSTALL, DRV_REMOVE});
  Expect(Send(AnyId(), message, WildParameter(), WildParameter()), 1);
}

void RandomHost::SendToDefaultProcedure(OpenInstance& /*instance*/) {
  const DWORD_PTR id = AnyId();
  const auto message = random_.OneIn(2)
                           ? OneOf<UINT>(random_, {0, DRV_POWER, DRV_EXITSESSION, DRV_USER - 1})
                           : 11 + random_.Below(DRV_USER - 11);
  const LPARAM parameter1 = WildParameter();
  const LPARAM parameter2 = WildParameter();
  Expect(Send(id, message, parameter1, parameter2),
         DefDriverProc(id, DriverModule::HostHandle(), message, parameter1, parameter2));
}

void RandomHost::SendUnknown(OpenInstance& instance) {
  UINT message = 0;
  do {
    message =
        random_.OneIn(2)
            ? OneOf<UINT>(random_, {DRV_USER, ICM_GETDEFAULTKEYFRAMERATE, ICM_DECOMPRESSEX_BEGIN,
                                    ICM_DECOMPRESSEX, ICM_DECOMPRESSEX_QUERY, ICM_DECOMPRESSEX_END,
                                    ICM_DECOMPRESS_GET_PALETTE, ICM_DECOMPRESS_SET_PALETTE,
                                    ICM_DRAW_WINDOW, ICM_DRAW_REALIZE, ICM_GETERRORTEXT, ICM_GET,
                                    ICM_SET, ICM_COMPRESS_FRAMES_INFO, 0xFFFFFFFF})
            : DRV_USER + random_.Below(0x2000);
  } while (IsAnswered(message));
  Expect(Send(random_.OneIn(2) ? instance.id : AnyId(), message, WildParameter(), WildParameter()),
         ICERR_UNSUPPORTED);
}

void RandomHost::SendDrawing(OpenInstance& instance) {
  const UINT message = kDrawingMessages[random_.Below(kDrawingMessages.size())];
  Expect(Send(instance.id, message, WildParameter(), WildParameter()), ICERR_ERROR);
}

void RandomHost::ConfigureDriver(OpenInstance& /*instance*/) {
  const LPARAM parent = random_.OneIn(2) ? 0 : LPARAM{0x5678};
  Expect(Send(AnyId(), DRV_CONFIGURE, parent, WildParameter()), 0);
  Check(ThisHostThread().dialogs == (parent == 0 ? 0 : 1), "dialogs");
  counts_.dialogs += parent == 0 ? 0 : 1;
}

void RandomHost::ShowDialog(OpenInstance& instance) {
  const auto message = OneOf<UINT>(random_, {ICM_CONFIGURE, ICM_ABOUT});
  if (random_.OneIn(3)) {
    const auto query = OneOf<DWORD_PTR>(random_, {0xFFFFFFFF, ~DWORD_PTR{0}});
    Expect(Send(instance.id, message, query, WildParameter()), ICERR_OK);
    Check(ThisHostThread().dialogs == 0, "a dialog for a query");
    return;
  }
  Expect(Send(instance.id, message, OneOf<LPARAM>(random_, {0, 0x5678}), WildParameter()),
         ThisHostThread().dialogResult);
  Check(ThisHostThread().dialogs == 1, "no dialog");
  ++counts_.dialogs;
}

void RandomHost::Close(OpenInstance& instance) {
  const DWORD_PTR id = instance.id;
  Expect(Send(id, DRV_CLOSE, WildParameter(), WildParameter()), 1);
  instances_.remove_if([id](const OpenInstance& open) { return open.id == id; });
}

void RandomHost::GetInfo(OpenInstance& instance) {
  if (random_.OneIn(4)) {
    Expect(Send(instance.id, ICM_GETINFO, nullptr, WildParameter()), 4);
    return;
  }
  if (random_.OneIn(3)) {
    const auto size = OneOf<LPARAM>(random_, {0, 1, 3, -1});
    Expect(Send(instance.id, ICM_GETINFO, wall_.Data(), size), ICERR_BADSIZE);
    return;
  }
  GuardedValue<ICINFO> info({});
  const auto size = OneOf<LPARAM>(random_, {4, 567, 568, 569, 0x7FFFFFFF});
  Expect(Send(instance.id, ICM_GETINFO, info.Get(), size), sizeof(ICINFO));
  const ICINFO got = info.Copy();
  Check(got.dwSize == 4 && got.fccType == ICTYPE_VIDEO && got.dwFlags == VIDCF_QUALITY &&
            got.fccHandler == instance.model.Handler() && got.dwVersion == 2002 &&
            got.dwVersionICM == ICVERSION && got.szDriver[0] == 0 &&
            lstrcmpW(got.szName, L"QIVM") == 0 &&
            lstrcmpW(got.szDescription, L"Norvane MPEG2 I-frames") == 0,
        "wrong information");
  Check(info.GapsIntact(), "a write beside the ICINFO");
}

void RandomHost::GetState(OpenInstance& instance) {
  if (random_.OneIn(4)) {
    Expect(Send(instance.id, ICM_GETSTATE, nullptr, WildParameter()), LRESULT{kStateBytes});
    return;
  }
  if (random_.OneIn(3)) {
    const auto size = OneOf<LPARAM>(random_, {0, 4, 1095, -1});
    Expect(Send(instance.id, ICM_GETSTATE, wall_.Data(), size), ICERR_BADSIZE);
    return;
  }
  GuardedValue<State> state({});
  const auto size = OneOf<LPARAM>(random_, {1096, 1097, 0x7FFFFFFF});
  Expect(Send(instance.id, ICM_GETSTATE, state.Get(), size), ICERR_OK);
  Check(state.Holds(instance.model.state), "wrong state");
  Check(state.GapsIntact(), "a write beside the state");
}

void RandomHost::SetState(OpenInstance& instance) {
  const DWORD handler = instance.model.Handler();
  if (random_.OneIn(3)) {
    Expect(Send(instance.id, ICM_SETSTATE, nullptr, WildParameter()), ICERR_OK);
    instance.model.state = InitialState(handler);
    return;
  }
  const auto size = OneOf<LPARAM>(random_, {1096, 0, 7, -5, 0x7FFFFFFF});
  if (random_.OneIn(4)) {
    // Of a state that is not its own it may not read more than the code.
    GuardedValue<DWORD> code(handler + 1 + random_.Below(1000));
    code.MakeReadOnly();
    Expect(Send(instance.id, ICM_SETSTATE, code.Get(), size), ICERR_ERROR);
    return;
  }
  GuardedValue<State> state(RandomState(random_, handler));
  state.MakeReadOnly();
  Expect(Send(instance.id, ICM_SETSTATE, state.Get(), size), size);
  instance.model.state = state.Copy();
}

void RandomHost::GetQuality(OpenInstance& instance) {
  const auto message = OneOf<UINT>(random_, {ICM_GETQUALITY, ICM_GETDEFAULTQUALITY});
  if (random_.OneIn(4)) {
    Expect(Send(instance.id, message, nullptr, WildParameter()), ICERR_OK);
    return;
  }
  GuardedValue<DWORD> quality(0x55555555);
  Expect(Send(instance.id, message, quality.Get(), WildParameter()), ICERR_OK);
  Check(quality.Copy() == (message == ICM_GETQUALITY ? instance.model.quality : 8000),
        "wrong quality");
  Check(quality.GapsIntact(), "a write beside the quality");
}

void RandomHost::SetQuality(OpenInstance& instance) {
  if (random_.OneIn(4)) {
    Expect(Send(instance.id, ICM_SETQUALITY, nullptr, WildParameter()), ICERR_OK);
    return;
  }
  GuardedValue<DWORD> quality(random_.OneIn(3) ? random_.Next()
                                               : OneOf<DWORD>(random_, {8000, 8000, 0, 10000}));
  quality.MakeReadOnly();
  Expect(Send(instance.id, ICM_SETQUALITY, quality.Get(), WildParameter()), ICERR_OK);
  instance.model.quality = quality.Copy();
}

}  // namespace qivm::test
