#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "tests/windows/host_side.h"

using namespace halden::windows_test;

namespace {

constexpr VARIANT_BOOL kTrue = -1;
constexpr DWORD kRecordingTime = 700;  // milliseconds of the simulated device's real time

class Component : public testing::Test {
 protected:
  short Range(short channel) const {
    short row = -1;
    adc.Call(kChannelRange, &channel, &row);
    return row;
  }
  HRESULT SetChannels(SAFEARRAY* array) const { return adc.Call(kSetInputChannels, &array); }

  InApartment apartment;
  Reference object = NewObject();
  Reference adc = object.As(kContract);
};

std::wstring TextOf(const Reference& adc, int member) {
  const BSTR text = adc.Get<BSTR>(member);
  std::wstring copy(text, SysStringLen(text));
  SysFreeString(text);
  return copy;
}

SAFEARRAY* Codes(const std::vector<short>& codes, LONG first = 0, VARTYPE type = VT_I2) {
  SAFEARRAY* const array = SafeArrayCreateVector(type, first, static_cast<ULONG>(codes.size()));
  for (std::size_t i = 0; type == VT_I2 && i < codes.size(); ++i)
    static_cast<short*>(array->pvData)[i] = codes[i];
  return array;
}

std::vector<short> TakeCodes(SAFEARRAY* array) {
  if (!array) return {};
  std::size_t count = 1;
  for (USHORT i = 0; i < array->cDims; ++i) count *= array->rgsabound[i].cElements;
  const auto* const first = static_cast<const short*>(array->pvData);
  std::vector<short> codes(first, first + count);
  SafeArrayDestroy(array);
  return codes;
}

TEST_F(Component, AHostThatKnowsOnlyTheTableRecords) {
  ASSERT_TRUE(adc);
  EXPECT_EQ(TextOf(adc, kADCName), L"Halden-Text");
  EXPECT_EQ(adc.Get<unsigned char>(kResolution), 16);
  EXPECT_EQ(adc.Get<VARIANT_BOOL>(kDetected), 0);
  ASSERT_EQ(adc.Get<VARIANT_BOOL>(kTest), kTrue) << testing::PrintToString(TextOf(adc, kLastError));
  EXPECT_EQ(adc.Get<VARIANT_BOOL>(kDetected), kTrue);
  EXPECT_EQ(adc.Get<short>(kChannelsCount), 3);
  EXPECT_EQ(adc.Get<short>(kBasePort), 300);

  short channel = 2, row = 3;
  EXPECT_EQ(adc.Call(kSetChannelRange, &channel, &row), S_OK);
  EXPECT_EQ(Range(2), 3);
  row = 0;
  adc.Call(kSetChannelRange, &channel, &row);
  SAFEARRAY* const table = Codes({2, 0});
  ASSERT_EQ(SetChannels(table), S_OK);
  SafeArrayDestroy(table);
  EXPECT_EQ(TakeCodes(adc.Get<SAFEARRAY*>(kInputChannels)), (std::vector<short>{2, 0}));
  long frames = 2000;
  adc.Call(kSetInputSizeData, &frames);

  ASSERT_EQ(adc.Get<VARIANT_BOOL>(kStartRecord), kTrue);
  EXPECT_EQ(adc.Get<VARIANT_BOOL>(kBusy), kTrue);
  EXPECT_EQ(adc.Get<long>(kInputSizeData), 4000);
  Pump(kRecordingTime);
  ASSERT_EQ(adc.Call(kStopRecord), S_OK);

  std::vector<short> some(8);
  long room = 7, waiting = 0, taken = 0;
  const long before = adc.Get<long>(kInputCountKadrs);
  ASSERT_EQ(adc.Call(kGetData, some.data(), &room, &waiting, &taken), S_OK);
  EXPECT_EQ((std::vector<long>{taken, room, waiting}), (std::vector<long>{3, 6, 2 * (before - 3)}));
  EXPECT_EQ(some[7], 0);

  SAFEARRAY* const data = adc.Get<SAFEARRAY*>(kInputData);
  ASSERT_TRUE(data && data->cDims == 2);
  LONG low[2] = {-1, -1}, high[2] = {-1, -1};
  for (UINT i = 0; i < 2; ++i) {
    SafeArrayGetLBound(data, i + 1, &low[i]);
    SafeArrayGetUBound(data, i + 1, &high[i]);
  }
  EXPECT_EQ((std::vector<LONG>{low[0], high[0], low[1], high[1]}), (std::vector<LONG>{0, 1, 0, before - 3}));
  const std::vector<short> codes = TakeCodes(data);
  EXPECT_EQ((std::vector<short>{codes[0], codes[1]}), (std::vector<short>{2, 0}));
  EXPECT_GT(before, 50);
  // The ramp climbs the same step from frame to frame, across both ways to read, until it wraps.
  const auto step = static_cast<short>(some[2] - some[0]);
  some.resize(6);
  some.insert(some.end(), codes.begin() + 2, codes.end());
  int uneven = 0;
  for (std::size_t i = 2; i < some.size(); ++i) uneven += some[i] - some[i - 2] != step;
  EXPECT_GT(step, 0);
  EXPECT_LE(uneven, 2);
}

TEST_F(Component, ParentAndGetADC3GiveTheObjectItself) {
  IUnknown* given = nullptr;
  constexpr int kGetADC3 = 1;
  ASSERT_EQ(object.Call(kGetADC3, &given), S_OK);
  Reference self(given);
  Reference parent(adc.Get<IDispatch*>(kParent));
  EXPECT_EQ(self.As(IID_IUnknown).get(), object.As(IID_IUnknown).get());
  EXPECT_EQ(parent.As(IID_IUnknown).get(), object.As(IID_IUnknown).get());
  self.Reset();
  parent.Reset();
  object.Reset();
  EXPECT_EQ(TextOf(adc, kADCName), L"Halden-Text");
}

TEST_F(Component, ObjectsOfAnApartmentShareWhatAnotherOneDoesNotSee) {
  ASSERT_EQ(adc.Get<VARIANT_BOOL>(kTest), kTrue);
  const Reference second = NewObject().As(kContract);
  EXPECT_EQ(second.Get<short>(kChannelsCount), 3);
  std::thread([] {
    const InApartment other;
    const Reference stranger = NewObject().As(kContract);
    ASSERT_TRUE(stranger);
    EXPECT_EQ(stranger.Get<short>(kChannelsCount), 0);
    EXPECT_EQ(TextOf(stranger, kADCName), L"Halden-Text");
  }).join();
}

/// What the host does from inside a call.
IUnknown* last_reference = nullptr;
bool loaded_inside = false;

void CALLBACK ReleaseLast(HWND, UINT, UINT_PTR timer, DWORD) {
  KillTimer(nullptr, timer);
  std::exchange(last_reference, nullptr)->Release();
  CoFreeUnusedLibrariesEx(0, 0);
  loaded_inside = GetModuleHandleW(L"HT_TEXT.adc") != nullptr;
}

TEST_F(Component, ALastReleaseInsideACallTakesEffectBehindIt) {
  object.Reset();
  last_reference = adc.get();
  SetTimer(nullptr, 0, 10, ReleaseLast);
  adc.Get<VARIANT_BOOL>(kTest);
  adc.Forget();
  EXPECT_FALSE(last_reference);
  EXPECT_TRUE(loaded_inside);
  CoFreeUnusedLibrariesEx(0, 0);
  EXPECT_FALSE(GetModuleHandleW(L"HT_TEXT.adc"));
}

TEST_F(Component, EveryNullPointerIsRefused) {
  struct Shape {
    std::vector<int> members;
    int parameters;
  };
  std::vector<int> givers = {kADCName,
                             kResolution,
                             kChannelsCount,
                             kRateMax,
                             kRanges,
                             kDetected,
                             kTest,
                             kBasePort,
                             kBusy,
                             kRate,
                             kSetRate,
                             kSetInputSizeData,
                             kInputSizeData,
                             kInputCountData,
                             kInputSizeKadrs,
                             kInputCountKadrs,
                             kInputCountChannels,
                             kInputChannels,
                             kSetInputChannels,
                             kGetKadr,
                             kStartRecord,
                             kInputData,
                             kLastError,
                             kShowSetting,
                             kParent};
  for (const int member : givers) EXPECT_EQ(adc.Call(member, nullptr), E_POINTER) << member;
  alignas(8) char room[64] = {};
  for (const int member : {kChannelName, kChannelRange, kSetChannelRange, kChannelUnitScale,
                           kChannelUnitOffset, kChannelUnitName, kGetChannel}) {
    EXPECT_EQ(adc.Call(member, nullptr, room), E_POINTER) << member;
    EXPECT_EQ(adc.Call(member, room, nullptr), E_POINTER) << member;
  }
  for (int missing = 0; missing < 4; ++missing) {
    void* given[4] = {room, room + 16, room + 32, room + 48};
    given[missing] = nullptr;
    EXPECT_EQ(adc.Call(kGetData, given[0], given[1], given[2], given[3]), E_POINTER) << missing;
  }
  EXPECT_EQ(std::accumulate(std::begin(room), std::end(room), 0), 0);
  EXPECT_EQ(object.Call(1, nullptr), E_POINTER);
}

TEST_F(Component, ArraysOfAWrongShapeAreRefusedAndTheTableStays) {
  SAFEARRAYBOUND square[] = {{2, 0}, {2, 0}};
  const struct {
    SAFEARRAY* array;
    HRESULT result;
  } cases[] = {
      {nullptr, E_INVALIDARG},
      {SafeArrayCreate(VT_I2, 2, square), DISP_E_BADINDEX},
      {Codes({1, 2}, 1), DISP_E_BADINDEX},
      {Codes({1, 2}, -1), DISP_E_BADINDEX},
      {Codes({1, 2}, 0, VT_I4), DISP_E_TYPEMISMATCH},
      {Codes({1, 2}, 0, VT_BOOL), DISP_E_TYPEMISMATCH},
      {Codes({1, 2}, 0, VT_VARIANT), DISP_E_TYPEMISMATCH},
      {Codes(std::vector<short>(32768)), E_INVALIDARG},
  };
  SAFEARRAY* const good = Codes({1, 1, 0});
  ASSERT_EQ(SetChannels(good), S_OK);
  SafeArrayDestroy(good);
  for (const auto& [array, result] : cases) {
    EXPECT_EQ(SetChannels(array), result) << &array - &cases[0].array;
    if (array) SafeArrayDestroy(array);
  }
  EXPECT_EQ(TakeCodes(adc.Get<SAFEARRAY*>(kInputChannels)), (std::vector<short>{1, 1, 0}));
  EXPECT_EQ(adc.Get<short>(kInputCountChannels), 3);

  SAFEARRAY* untyped = nullptr;
  SafeArrayAllocDescriptor(1, &untyped);
  untyped->cbElements = sizeof(short);
  untyped->rgsabound[0] = {5, 0};
  SafeArrayAllocData(untyped);
  EXPECT_EQ(SetChannels(untyped), S_OK);
  SafeArrayDestroy(untyped);
  EXPECT_EQ(adc.Get<short>(kInputCountChannels), 5);
}

TEST_F(Component, IsUnloadedBehindItsLastObjectAndCanBeLoadedAgain) {
  ASSERT_TRUE(adc);
  CoFreeUnusedLibrariesEx(0, 0);
  EXPECT_TRUE(GetModuleHandleW(L"HT_TEXT.adc"));
  adc.Reset();
  object.Reset();
  CoFreeUnusedLibrariesEx(0, 0);
  EXPECT_FALSE(GetModuleHandleW(L"HT_TEXT.adc"));
  object = NewObject();
  EXPECT_EQ(TextOf(object.As(kContract), kADCName), L"Halden-Text");
}

}  // namespace
