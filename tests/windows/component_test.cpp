#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "tests/windows/host_side.h"

using namespace halden::windows_test;

namespace {

constexpr DWORD kRecordingTime = 700;  // milliseconds of the simulated device's real time

class Component : public testing::Test {
 protected:
  std::wstring Name() const { return _bstr_t(Get(adc, &IADC3::get_ADCName), false).GetBSTR(); }
  /// The array is destroyed.
  HRESULT SetChannels(SAFEARRAY* array) const {
    const HRESULT result = adc->put_InputChannels(&array);
    if (array) SafeArrayDestroy(array);
    return result;
  }

  InApartment apartment;
  IDispatchPtr object = NewObject();
  IADC3Ptr adc = object;
};

SAFEARRAY* Codes(const std::vector<short>& codes, LONG first = 0, VARTYPE type = VT_I2) {
  SAFEARRAY* const array = SafeArrayCreateVector(type, first, static_cast<ULONG>(codes.size()));
  if (type == VT_I2) std::copy(codes.begin(), codes.end(), static_cast<short*>(array->pvData));
  return array;
}

std::vector<short> TakeCodes(SAFEARRAY* array) {
  std::size_t count = 1;
  for (USHORT i = 0; i < array->cDims; ++i) count *= array->rgsabound[i].cElements;
  const auto* const first = static_cast<const short*>(array->pvData);
  std::vector<short> codes(first, first + count);
  SafeArrayDestroy(array);
  return codes;
}

std::pair<LONG, LONG> Bounds(SAFEARRAY* array, UINT dimension) {
  LONG low = -1, high = -1;
  SafeArrayGetLBound(array, dimension, &low);
  SafeArrayGetUBound(array, dimension, &high);
  return {low, high};
}

TEST_F(Component, AHostThatKnowsOnlyTheTableRecords) {
  EXPECT_EQ(Name(), L"Halden-Text");
  EXPECT_EQ(Get(adc, &IADC3::get_Resolution), 16);
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  EXPECT_EQ(Get(adc, &IADC3::get_Detected), VARIANT_TRUE);
  EXPECT_EQ(Get(adc, &IADC3::get_BasePort), 300);

  ASSERT_EQ(SetChannels(Codes({2, 0})), S_OK);
  EXPECT_EQ(TakeCodes(Get(adc, &IADC3::get_InputChannels)), (std::vector<short>{2, 0}));
  long frames = 2000;
  adc->put_InputSizeData(&frames);

  ASSERT_EQ(Get(adc, &IADC3::StartRecord), VARIANT_TRUE);
  EXPECT_EQ(Get(adc, &IADC3::get_Busy), VARIANT_TRUE);
  EXPECT_EQ(Get(adc, &IADC3::get_InputSizeData), 4000);
  Pump(kRecordingTime);
  ASSERT_EQ(adc->StopRecord(), S_OK);

  std::vector<short> some(8);
  long room = 7, waiting = 0, taken = 0;
  const long before = Get(adc, &IADC3::get_InputCountKadrs);
  EXPECT_GT(before, 50);
  ASSERT_EQ(adc->GetData(some.data(), &room, &waiting, &taken), S_OK);
  EXPECT_EQ((std::vector<long>{taken, room, waiting}), (std::vector<long>{3, 6, 2 * (before - 3)}));
  EXPECT_EQ(some[7], 0);

  SAFEARRAY* const data = Get(adc, &IADC3::get_InputData);
  ASSERT_TRUE(data && data->cDims == 2);
  EXPECT_EQ(Bounds(data, 1), std::make_pair(0L, 1L));
  EXPECT_EQ(Bounds(data, 2), std::make_pair(0L, before - 3));
  const std::vector<short> codes = TakeCodes(data);
  EXPECT_EQ((std::vector<short>{codes[0], codes[1]}), (std::vector<short>{2, 0}));
  // The ramp climbs the same step from frame to frame, across both ways to read, until it wraps.
  const auto step = static_cast<short>(some[2] - some[0]);
  some.resize(6);
  some.insert(some.end(), codes.begin() + 2, codes.end());
  int uneven = 0;
  for (std::size_t i = 2; i < some.size(); ++i) uneven += some[i] - some[i - 2] != step;
  EXPECT_GT(step, 0);
  EXPECT_LE(uneven, 2);
}

TEST_F(Component, TextsAreThoseOfTheUsersLanguage) {
  SAFEARRAY* const ranges = Get(adc, &IADC3::get_Ranges);
  ASSERT_EQ(ranges->rgsabound[0].cElements, 15u);
  const std::wstring comma = PRIMARYLANGID(GetUserDefaultLangID()) == LANG_RUSSIAN ? L"," : L".";
  EXPECT_EQ(static_cast<BSTR*>(ranges->pvData)[4], L"\u00B10" + comma + L"1");
  SafeArrayDestroy(ranges);
}

TEST_F(Component, ParentAndGetADC3GiveTheObjectItself) {
  IUnknownPtr self, identity = object;
  constexpr int kGetADC3 = 7;
  using Getter = HRESULT(STDMETHODCALLTYPE*)(void*, IUnknown**);
  const auto get = reinterpret_cast<Getter>((*reinterpret_cast<void***>(object.GetInterfacePtr()))[kGetADC3]);
  EXPECT_EQ(get(object, nullptr), E_POINTER);
  ASSERT_EQ(get(object, &self), S_OK);
  IDispatchPtr parent(Get(adc, &IADC3::get_Parent), false);
  EXPECT_EQ(IUnknownPtr(self).GetInterfacePtr(), identity.GetInterfacePtr());
  EXPECT_EQ(IUnknownPtr(parent).GetInterfacePtr(), identity.GetInterfacePtr());
  self = identity = parent = object = nullptr;
  EXPECT_EQ(Name(), L"Halden-Text");
}

TEST_F(Component, ObjectsOfAnApartmentShareWhatAnotherOneDoesNotSee) {
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  EXPECT_EQ(Get(IADC3Ptr(NewObject()), &IADC3::get_ChannelsCount), 3);
  std::thread([] {
    const InApartment other;
    EXPECT_EQ(Get(IADC3Ptr(NewObject()), &IADC3::get_ChannelsCount), 0);
  }).join();
}

bool IsLoaded() {
  CoFreeUnusedLibrariesEx(0, 0);
  return GetModuleHandleW(L"HT_TEXT.adc") != nullptr;
}

/// What the host does from inside a call.
IADC3* last_reference = nullptr;
bool loaded_inside = false;

void CALLBACK ReleaseLast(HWND, UINT, UINT_PTR timer, DWORD) {
  KillTimer(nullptr, timer);
  std::exchange(last_reference, nullptr)->Release();
  loaded_inside = IsLoaded();
}

TEST_F(Component, ALastReleaseInsideACallTakesEffectBehindIt) {
  object = nullptr;
  last_reference = adc.Detach();
  SetTimer(nullptr, 0, 10, ReleaseLast);
  Get(last_reference, &IADC3::Test);
  EXPECT_FALSE(last_reference);
  EXPECT_TRUE(loaded_inside);
  EXPECT_FALSE(IsLoaded());
}

TEST_F(Component, IsUnloadedBehindItsLastObjectAndCanBeLoadedAgain) {
  EXPECT_TRUE(IsLoaded());
  adc = nullptr;
  EXPECT_TRUE(IsLoaded());
  object = nullptr;
  EXPECT_FALSE(IsLoaded());
  adc = object = NewObject();
  EXPECT_EQ(Name(), L"Halden-Text");
}

/// Calls what stands in this place of the virtual table, with so many of the pointers.
HRESULT CallAt(IADC3* adc, int place, int count, void** p) {
  using One = HRESULT(STDMETHODCALLTYPE*)(void*, void*);
  using Two = HRESULT(STDMETHODCALLTYPE*)(void*, void*, void*);
  using Four = HRESULT(STDMETHODCALLTYPE*)(void*, void*, void*, void*, void*);
  void* const function = (*reinterpret_cast<void***>(adc))[place];
  if (count == 1) return reinterpret_cast<One>(function)(adc, p[0]);
  if (count == 2) return reinterpret_cast<Two>(function)(adc, p[0], p[1]);
  return reinterpret_cast<Four>(function)(adc, p[0], p[1], p[2], p[3]);
}

TEST_F(Component, EveryNullPointerIsRefused) {
  constexpr int kFirst = 7, kParameters[] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 1, 1,
                                             1, 1, 1, 1, 1, 1, 1, 1, 2, 1, 1, 0, 1, 4, 1, 1, 1};
  int place = kFirst;
  long long room[4] = {};
  for (const int parameters : kParameters) {
    for (int missing = 0; missing < parameters; ++missing) {
      void* given[4] = {room, room + 1, room + 2, room + 3};
      given[missing] = nullptr;
      EXPECT_EQ(CallAt(adc, place, parameters, given), E_POINTER) << place << " parameter " << missing;
    }
    ++place;
  }
  EXPECT_EQ(room[0] | room[1] | room[2] | room[3], 0);
}

TEST_F(Component, ArraysOfAWrongShapeAreRefusedAndTheTableStays) {
  SAFEARRAYBOUND square[] = {{2, 0}, {2, 0}};
  const struct {
    SAFEARRAY* array;
    HRESULT result;
  } cases[] = {{nullptr, E_INVALIDARG},
               {SafeArrayCreate(VT_I2, 2, square), DISP_E_BADINDEX},
               {Codes({1, 2}, 1), DISP_E_BADINDEX},
               {Codes({1, 2}, -1), DISP_E_BADINDEX},
               {Codes({1, 2}, 0, VT_I4), DISP_E_TYPEMISMATCH},
               {Codes({1, 2}, 0, VT_BOOL), DISP_E_TYPEMISMATCH},
               {Codes(std::vector<short>(32768)), E_INVALIDARG}};
  ASSERT_EQ(SetChannels(Codes({1, 1, 0})), S_OK);
  for (const auto& [array, result] : cases) EXPECT_EQ(SetChannels(array), result) << &array - &cases[0].array;
  EXPECT_EQ(TakeCodes(Get(adc, &IADC3::get_InputChannels)), (std::vector<short>{1, 1, 0}));
  SAFEARRAY* const untyped = Codes({0, 1});
  untyped->fFeatures &= static_cast<USHORT>(~FADF_HAVEVARTYPE);
  EXPECT_EQ(SetChannels(untyped), S_OK);
  EXPECT_EQ(Get(adc, &IADC3::get_InputCountChannels), 2);
}

}  // namespace
