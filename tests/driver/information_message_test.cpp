#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/import_hook.h"
#include "tests/driver/registry_tree.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

using InformationMessageTest = DriverTest;

constexpr std::size_t kStateBytes = 1096;
using State = std::array<std::uint32_t, kStateBytes / 4>;

State StateOf(const Instance& instance) {
  State state = {};
  EXPECT_EQ(instance.Send(ICM_GETSTATE, &state, kStateBytes), ICERR_OK);
  return state;
}

std::string ApplicationOf(const State& state, std::size_t index) {
  return reinterpret_cast<const char*>(state.data() + 18 + 16 * index);
}

TEST_F(InformationMessageTest, InfoSizes) {
  const Instance instance(driver_);
  EXPECT_EQ(instance.Send(ICM_GETINFO, nullptr, 0), 4);
  EXPECT_EQ(instance.Send(ICM_GETINFO, nullptr, sizeof(ICINFO)), 4);
  ICINFO info = {};
  for (const int size : {3, 0, -1}) {
    EXPECT_EQ(instance.Send(ICM_GETINFO, &info, size), ICERR_BADSIZE);
  }
  EXPECT_EQ(info.dwVersion, 0U);
  EXPECT_EQ(instance.Send(ICM_GETINFO, &info, 4), 568);
  EXPECT_EQ(info.dwVersion, 2002U);
}

TEST_F(InformationMessageTest, Info) {
  const Instance instance(driver_);
  GuardedBuffer buffer(sizeof(ICINFO));
  buffer.Fill(std::uint8_t{0xCC});
  EXPECT_EQ(instance.Send(ICM_GETINFO, buffer.Data(), sizeof(ICINFO)), 568);
  EXPECT_TRUE(buffer.GapsIntact());
  ICINFO info = {};
  std::memcpy(&info, buffer.Data(), sizeof(info));
  EXPECT_EQ(info.dwSize, 4U);
  EXPECT_EQ(info.fccType, MAKEFOURCC('v', 'i', 'd', 'c'));
  EXPECT_EQ(info.fccHandler, kQivmCode);
  EXPECT_EQ(info.dwFlags, 1U);
  EXPECT_EQ(info.dwVersion, 2002U);
  EXPECT_EQ(info.dwVersionICM, 0x104U);
  EXPECT_STREQ(info.szName, L"QIVM");
  EXPECT_STREQ(info.szDescription, L"Norvane MPEG2 I-frames");
  EXPECT_TRUE(std::all_of(std::begin(info.szDriver), std::end(info.szDriver),
                          [](WCHAR character) { return character == 0; }));
}

int WINAPI LoadNoString(HINSTANCE /*module*/, UINT /*id*/, LPSTR /*buffer*/, int /*size*/) {
  return 0;
}

TEST_F(InformationMessageTest, MissingTextsGiveEmptyFields) {
  const Instance instance(driver_);
  const ImportHook hook(driver_.Handle(), "LoadStringA", reinterpret_cast<void*>(&LoadNoString));
  ICINFO info = {};
  std::memset(&info, 0xCC, sizeof(info));
  EXPECT_EQ(instance.Send(ICM_GETINFO, &info, sizeof(info)), 568);
  const auto isZero = [](WCHAR character) { return character == 0; };
  EXPECT_TRUE(std::all_of(std::begin(info.szName), std::end(info.szName), isZero));
  EXPECT_TRUE(std::all_of(std::begin(info.szDescription), std::end(info.szDescription), isZero));
}

TEST_F(InformationMessageTest, TheHandlerIsTheCodeOfTheOpen) {
  const Instance instance(driver_, kMmesCode);
  ICINFO info = {};
  instance.Send(ICM_GETINFO, &info, sizeof(info));
  EXPECT_EQ(info.fccHandler, kMmesCode);
  EXPECT_STREQ(info.szName, L"QIVM");
  EXPECT_EQ(StateOf(instance)[0], kMmesCode);
}

TEST_F(InformationMessageTest, StateSizes) {
  const Instance instance(driver_);
  EXPECT_EQ(instance.Send(ICM_GETSTATE, nullptr, 0), 1096);
  GuardedBuffer buffer(kStateBytes);
  buffer.Fill(std::uint8_t{0xCC});
  for (const int size : {1095, 0, -1}) {
    EXPECT_EQ(instance.Send(ICM_GETSTATE, buffer.Data(), size), ICERR_BADSIZE);
  }
  EXPECT_EQ(buffer.Bytes()[0], 0xCC);
  EXPECT_EQ(instance.Send(ICM_GETSTATE, buffer.Data(), 5000), ICERR_OK);
  EXPECT_EQ(buffer.Bytes()[0], 'Q');
  EXPECT_TRUE(buffer.GapsIntact());
}

TEST_F(InformationMessageTest, StateOfAFreshInstance) {
  const Instance instance(driver_);
  const State state = StateOf(instance);
  EXPECT_EQ(state[0], kQivmCode);
  EXPECT_EQ(state[1], 0U);
  EXPECT_EQ(state[2], kQivmCode);
  EXPECT_EQ(state[3], kMmesCode);
  EXPECT_TRUE(
      std::all_of(state.begin() + 4, state.begin() + 18, [](auto word) { return word == 0; }));
  EXPECT_EQ(ApplicationOf(state, 0), "PREMIERE.EXE");
  EXPECT_EQ(ApplicationOf(state, 1), "CLIPWRK.EXE");
  for (std::size_t i = 2; i < 16; ++i) {
    EXPECT_EQ(ApplicationOf(state, i), "");
  }
}

TEST_F(InformationMessageTest, SetStateTakesItsStateWhole) {
  const Instance instance(driver_);
  State state;
  for (std::size_t i = 0; i < state.size(); ++i) {
    state[i] = static_cast<std::uint32_t>(0x01020304 * i);
  }
  state[0] = kQivmCode;
  GuardedBuffer buffer(kStateBytes);
  std::memcpy(buffer.Data(), state.data(), kStateBytes);
  buffer.Protect(GuardedBuffer::Access::read);
  // The size is not looked at, but returned.
  EXPECT_EQ(instance.Send(ICM_SETSTATE, buffer.Data(), 7), 7);
  EXPECT_EQ(StateOf(instance), state);
  EXPECT_EQ(instance.Send(ICM_SETSTATE, buffer.Data(), 1096), 1096);
  EXPECT_EQ(instance.Send(ICM_SETSTATE, buffer.Data(), 0), 0);
}

TEST_F(InformationMessageTest, SetStateRefusesTheStateOfAnotherCode) {
  const Instance qivm(driver_, kQivmCode);
  const Instance mmes(driver_, kMmesCode);
  State state = StateOf(mmes);
  state[1] = 1;
  const State before = StateOf(qivm);
  EXPECT_EQ(qivm.Send(ICM_SETSTATE, &state, kStateBytes), ICERR_ERROR);
  EXPECT_EQ(StateOf(qivm), before);
  EXPECT_EQ(mmes.Send(ICM_SETSTATE, &state, kStateBytes), LRESULT{kStateBytes});
  EXPECT_EQ(StateOf(mmes), state);
}

TEST_F(InformationMessageTest, ARefusedStateIsReadNoFurtherThanItsCode) {
  const Instance instance(driver_);
  GuardedBuffer code(4);
  code.Fill(std::uint8_t{'x'});
  EXPECT_EQ(instance.Send(ICM_SETSTATE, code.Data(), kStateBytes), ICERR_ERROR);
}

TEST_F(InformationMessageTest, SetStateWithoutStateRestoresTheProcessSettings) {
  const Instance instance(driver_, kMmesCode);
  const State fresh = StateOf(instance);
  State changed = fresh;
  changed[1] = 1;
  changed[2] = 0;
  changed[273] = 5;
  ASSERT_EQ(instance.Send(ICM_SETSTATE, &changed, kStateBytes), LRESULT{kStateBytes});
  EXPECT_EQ(instance.Send(ICM_SETSTATE, nullptr, 99), ICERR_OK);
  EXPECT_EQ(StateOf(instance), fresh);
  EXPECT_EQ(StateOf(instance)[0], kMmesCode);
}

TEST_F(InformationMessageTest, TheStateGovernsWhatIsAccepted) {
  const Instance instance(driver_);
  State state = StateOf(instance);
  state[2] = MAKEFOURCC('A', 'B', 'C', 'D');
  state[3] = 0;
  state[4] = kQivmCode;  // behind the end of the list
  ASSERT_EQ(instance.Send(ICM_SETSTATE, &state, kStateBytes), LRESULT{kStateBytes});
  BITMAPINFOHEADER header = CompressedHeader(32, 32, MAKEFOURCC('a', 'b', 'c', 'd'));
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS_QUERY, &header, nullptr), ICERR_OK);
  for (const DWORD code : std::initializer_list<DWORD>{kQivmCode, kMmesCode, DWORD{0}}) {
    header.biCompression = code;
    EXPECT_EQ(instance.Send(ICM_DECOMPRESS_QUERY, &header, nullptr), ICERR_BADFORMAT);
  }
}

TEST_F(InformationMessageTest, AnInstanceKeepsTheSettingsOfItsOpening) {
  const Instance instance(driver_);
  WriteDword(kCodecKey, "ChangeFieldsOrder", 1);
  EXPECT_EQ(StateOf(instance)[1], 0U);
  const Instance later(driver_);
  EXPECT_EQ(StateOf(later)[1], 0U) << "the registry is read at attach only";
  WriteDword(kCodecKey, "ChangeFieldsOrder", 0);
}

TEST_F(InformationMessageTest, DefaultQuality) {
  const Instance instance(driver_);
  DWORD quality = 0;
  EXPECT_EQ(instance.Send(ICM_GETDEFAULTQUALITY, nullptr), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_GETDEFAULTQUALITY, &quality), ICERR_OK);
  EXPECT_EQ(quality, 8000U);
}

TEST_F(InformationMessageTest, Quality) {
  const Instance instance(driver_);
  DWORD quality = 0;
  EXPECT_EQ(instance.Send(ICM_GETQUALITY, &quality), ICERR_OK);
  EXPECT_EQ(quality, 8000U);
  for (const DWORD value :
       std::initializer_list<DWORD>{DWORD{20000}, DWORD{0}, DWORD{0xFFFFFFFF}, DWORD{500}}) {
    quality = value;
    EXPECT_EQ(instance.Send(ICM_SETQUALITY, &quality), ICERR_OK);
    quality = 1;
    EXPECT_EQ(instance.Send(ICM_GETQUALITY, &quality), ICERR_OK);
    EXPECT_EQ(quality, value);
  }
  EXPECT_EQ(instance.Send(ICM_SETQUALITY, nullptr), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_GETQUALITY, nullptr), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_GETQUALITY, &quality), ICERR_OK);
  EXPECT_EQ(quality, 500U);
}

}  // namespace

}  // namespace qivm::test
