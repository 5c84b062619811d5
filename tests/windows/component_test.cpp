#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "backends/windows/windows_platform.h"
#include "tests/port_dialog_flows.h"
#include "tests/windows/screen_user.h"

// After ours, whose names are macros there.
#include <comdef.h>
#include <contract.h>

_COM_SMARTPTR_TYPEDEF(IDispatch, __uuidof(IDispatch));
_COM_SMARTPTR_TYPEDEF(ITypeLib, __uuidof(ITypeLib));
_COM_SMARTPTR_TYPEDEF(ITypeInfo, __uuidof(ITypeInfo));
/// The interface from the header that is generated from the contract, so that the tests depend on none of our
/// headers.
_COM_SMARTPTR_TYPEDEF(IADC3, __uuidof(IADC3));

using namespace halden;

namespace {

constexpr char kDevice[] = "sim:signal=ramp,columns=3,rate=200,com=300,serial=A1B2C3";
constexpr wchar_t kProgId[] = L"Brackwell.Halden_Text";

/// The result of a member without arguments; 0 or null if the call fails.
template <class T>
T Get(IADC3* adc, HRESULT (STDMETHODCALLTYPE IADC3::*member)(T*)) {
  T value{};
  return SUCCEEDED((adc->*member)(&value)) ? value : T{};
}

void Pump(DWORD milliseconds) {
  const DWORD start = GetTickCount();
  while (GetTickCount() - start < milliseconds) Win32Clock().ServeMessages();
}

SAFEARRAY* Codes(const std::vector<short>& codes, LONG first = 0, VARTYPE type = VT_I2) {
  SAFEARRAY* const array = SafeArrayCreateVector(type, first, static_cast<ULONG>(codes.size()));
  if (type == VT_I2) std::copy(codes.begin(), codes.end(), static_cast<short*>(array->pvData));
  return array;
}

/// A host with one object of the component, in a single-threaded apartment on this thread.
class Component : public testing::Test {
 protected:
  struct Apartment {
    Apartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~Apartment() { CoUninitialize(); }
  };

  Component() { Connect(kDevice); }
  /// Unloads the component, and the stand-in for the vendor's library with it, and loads both with these
  /// devices.
  void Connect(const std::string& devices) {
    object = adc = nullptr;
    CoFreeUnusedLibrariesEx(0, 0);
    _putenv(("HALDEN_SIM=" + devices).c_str());
    adc = object = IDispatchPtr(kProgId);
  }

  /// Destroys the array.
  HRESULT SetChannels(SAFEARRAY* array) const {
    const HRESULT result = adc->put_InputChannels(&array);
    if (array) SafeArrayDestroy(array);
    return result;
  }
  /// Detects the device and records the channels 2 and 0 for 700 ms.
  void Record() const {
    ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
    ASSERT_EQ(SetChannels(Codes({2, 0})), S_OK);
    long frames = 2000;
    adc->put_InputSizeData(&frames);
    ASSERT_EQ(Get(adc, &IADC3::StartRecord), VARIANT_TRUE);
    Pump(700);
    ASSERT_EQ(adc->StopRecord(), S_OK);
  }

  DISPID IdOf(const wchar_t* name) const {
    DISPID id = DISPID_UNKNOWN;
    auto* text = const_cast<LPOLESTR>(name);
    object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_NEUTRAL, &id);
    return id;
  }
  /// `arguments` as IDispatch takes them, last to first.
  HRESULT Invoke(const wchar_t* name, WORD flags, std::vector<VARIANT> arguments, VARIANT* result = nullptr) {
    DISPID put = DISPID_PROPERTYPUT;
    const UINT puts = flags == DISPATCH_PROPERTYPUT;
    const auto count = static_cast<UINT>(arguments.size());
    DISPPARAMS parameters = {arguments.data(), puts ? &put : nullptr, count, puts};
    return object->Invoke(IdOf(name), IID_NULL, LOCALE_NEUTRAL, flags, &parameters, result, nullptr,
                          &bad_argument);
  }

  const Apartment apartment;
  IDispatchPtr object;
  IADC3Ptr adc;
  UINT bad_argument = 99;
};

TEST_F(Component, AHostRecordsThroughTheVirtualTable) {
  Record();
  const long recorded = Get(adc, &IADC3::get_InputCountKadrs);
  ASSERT_GT(recorded, 50);
  short codes[8] = {};
  long room = 7, waiting = 0, taken = 0;
  ASSERT_EQ(adc->GetData(codes, &room, &waiting, &taken), S_OK);
  EXPECT_EQ(taken, 3) << "frames";
  EXPECT_EQ(room, 6) << "codes copied";
  EXPECT_EQ(waiting, 2 * (recorded - 3)) << "codes left";
  EXPECT_NE(codes[5], 0) << "the last code copied";
  EXPECT_EQ(codes[7], 0) << "after the end of the room";
  short channel = 1;
  float scale = 0, offset = 1;
  EXPECT_EQ(adc->get_ChannelUnitScale(&channel, &scale), S_OK);
  EXPECT_EQ(adc->get_ChannelUnitOffset(&channel, &offset), S_OK);
  EXPECT_EQ(scale, 20);
  EXPECT_EQ(offset, 0);

  SAFEARRAY *const newest = Get(adc, &IADC3::GetKadr), *const data = Get(adc, &IADC3::get_InputData);
  ASSERT_TRUE(newest);
  ASSERT_TRUE(data);
  ASSERT_EQ(data->cDims, 2);
  const auto [rows, row] = std::make_pair(data->rgsabound[0], data->rgsabound[1]);
  EXPECT_EQ(row.lLbound, 0);
  EXPECT_EQ(rows.lLbound, 0);
  EXPECT_EQ(row.cElements, 2u);
  ASSERT_EQ(rows.cElements, recorded - 2ul) << "the channel table and the frames that GetData left";
  const auto *const table = static_cast<const short*>(data->pvData), *const last = table + 2 * (recorded - 3);
  const auto* const kadr = static_cast<const short*>(newest->pvData);
  EXPECT_EQ(table[0], 2) << "first channel of the table";
  EXPECT_EQ(table[1], 0) << "second channel of the table";
  EXPECT_EQ(last[0], kadr[0]);
  EXPECT_EQ(last[1], kadr[1]);
  SafeArrayDestroy(newest);
  SafeArrayDestroy(data);
}

TEST_F(Component, ParentIsTheObjectAndObjectsOfOneApartmentShareState) {
  IDispatchPtr parent(Get(adc, &IADC3::get_Parent), false);
  _variant_t self;
  ASSERT_EQ(Invoke(L"GetADC3", DISPATCH_METHOD, {}, &self), S_OK);
  EXPECT_TRUE(parent == object);
  EXPECT_EQ(object, self.punkVal);
  self.Clear();
  parent = object = nullptr;
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  EXPECT_EQ(Get(IADC3Ptr(kProgId), &IADC3::get_ChannelsCount), 3);
  std::thread([] {
    const Apartment other;
    EXPECT_EQ(Get(IADC3Ptr(kProgId), &IADC3::get_ChannelsCount), 0)
        << "another apartment has a driver of its own";
  }).join();
}

TEST_F(Component, IsUnloadedAfterTheLastReleaseButNotDuringACall) {
  const auto is_loaded = [] {
    CoFreeUnusedLibrariesEx(0, 0);
    return GetModuleHandleW(L"HT_TEXT.adc") != nullptr;
  };
  adc = object = nullptr;
  EXPECT_FALSE(is_loaded()) << "without objects";
  Connect(kDevice);
  object = nullptr;
  IADC3* last = adc.Detach();
  const auto host_timer = Win32Clock().NewTimer(10, [&] {
    if (IADC3* const released = std::exchange(last, nullptr)) released->Release();
    EXPECT_TRUE(is_loaded()) << "during the call";
  });
  host_timer->Enable(true);
  Get(last, &IADC3::Test);
  EXPECT_FALSE(last) << "Test must dispatch the host's messages";
  EXPECT_FALSE(is_loaded()) << "after the call";
}

TEST(Module, LeavesNoMemoryBehindWhenItIsUnloaded) {
  LoadLibraryW(L"FTD2XX.DLL");  // keep the stand-in loaded: it leaks memory when it is unloaded
  const auto allocated = [] {
    std::size_t bytes = 0;
    for (_HEAPINFO block{}; _heapwalk(&block) == _HEAPOK;)
      if (block._useflag == _USEDENTRY) bytes += block._size;
    return bytes;
  };
  const auto load_and_unload = [] { FreeLibrary(LoadLibraryW(L"HT_TEXT.adc")); };
  load_and_unload();
  const std::size_t before = allocated();
  for (int i = 0; i < 8; ++i) load_and_unload();
  EXPECT_LT(allocated(), before + 8 * 1000) << "after 8 unloads";
  FreeLibrary(GetModuleHandleW(L"FTD2XX.DLL"));
}

TEST_F(Component, ArraysOfAWrongShapeAreRefusedAndChangeNothing) {
  ASSERT_EQ(SetChannels(Codes({1, 1, 0})), S_OK);
  SAFEARRAYBOUND square[] = {{2, 0}, {2, 0}};
  EXPECT_EQ(SetChannels(nullptr), E_INVALIDARG);
  EXPECT_EQ(SetChannels(SafeArrayCreate(VT_I2, 2, square)), DISP_E_BADINDEX);
  EXPECT_EQ(SetChannels(Codes({1, 2}, 1)), DISP_E_BADINDEX);
  EXPECT_EQ(SetChannels(Codes({1, 2}, 0, VT_BOOL)), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(SetChannels(Codes(std::vector<short>(32768))), E_INVALIDARG);
  EXPECT_EQ(Get(adc, &IADC3::get_InputCountChannels), 3);
  SAFEARRAY *const hollow = SafeArrayCreate(VT_I2, 1, square), *const untyped = Codes({0, 1});
  SafeArrayDestroyData(hollow);
  EXPECT_EQ(SetChannels(hollow), E_INVALIDARG);
  untyped->fFeatures &= static_cast<USHORT>(~FADF_HAVEVARTYPE);
  EXPECT_EQ(SetChannels(untyped), S_OK);
  EXPECT_EQ(Get(adc, &IADC3::get_InputCountChannels), 2);
}

/// Calls the member at the place in the virtual table that its description gives.
HRESULT CallAt(IADC3* adc, const FUNCDESC& member, const std::vector<void*>& pointers) {
  constexpr VARTYPE kPointer = VT_BYREF | VT_I4;
  VARTYPE types[] = {kPointer, kPointer, kPointer, kPointer};
  VARIANT given[4] = {}, *arguments[] = {&given[0], &given[1], &given[2], &given[3]}, answer = {};
  for (std::size_t i = 0; i < pointers.size(); ++i) given[i].byref = pointers[i];
  DispCallFunc(adc, static_cast<ULONG_PTR>(member.oVft), CC_STDCALL, VT_ERROR,
               static_cast<UINT>(pointers.size()), types, arguments, &answer);
  return answer.scode;
}

TEST_F(Component, EveryMemberIsAtItsPlaceHasItsNameAndRefusesNull) {
  ITypeLibPtr contract;
  ASSERT_EQ(LoadTypeLibEx(L"contract.tlb", REGKIND_REGISTER, &contract), S_OK);
  ITypeInfoPtr names, table;
  HREFTYPE type = 0;
  ASSERT_EQ(object->GetTypeInfo(0, LOCALE_NEUTRAL, &names), S_OK);
  names->GetRefTypeOfImplType(static_cast<UINT>(-1), &type);
  ASSERT_EQ(names->GetRefTypeInfo(type, &table), S_OK);
  Record();
  UINT place = 0;
  std::wstring range;
  for (FUNCDESC* member = nullptr; SUCCEEDED(table->GetFuncDesc(place, &member)); ++place) {
    _bstr_t name;
    table->GetDocumentation(member->memid, name.GetAddress(), nullptr, nullptr, nullptr);
    EXPECT_EQ(IdOf(name), member->memid) << place;
    _variant_t one(short{1}), by_place, by_name;
    std::vector<void*> pointers(static_cast<std::size_t>(member->cParams), &one.byref);
    if (!pointers.empty()) pointers.back() = &by_place.byref;
    for (void*& pointer : pointers) {
      void* const given = std::exchange(pointer, nullptr);
      EXPECT_EQ(CallAt(adc, *member, pointers), E_POINTER) << place;
      pointer = given;
    }
    EXPECT_EQ(by_place.llVal, 0) << place;
    if (member->invkind == INVOKE_PROPERTYGET) {
      EXPECT_EQ(CallAt(adc, *member, pointers), S_OK) << place;
      Invoke(name, DISPATCH_PROPERTYGET, std::vector<VARIANT>(pointers.size() - 1, one), &by_name);
      by_place.vt = by_name.vt;
      if (by_name.vt == (VT_ARRAY | VT_BSTR)) range = static_cast<BSTR*>(by_place.parray->pvData)[4];
      EXPECT_TRUE((by_name.vt & VT_ARRAY) || by_place == by_name) << place;
    }
    table->ReleaseFuncDesc(member);
  }
  EXPECT_EQ(place, 34u);
  EXPECT_EQ(range.front(), L'±');
}

TEST_F(Component, DescribesItsMembersItselfWhereTheContractIsNotRegistered) {
  GUID contract{};
  CLSIDFromString(L"{97B526A7-3B46-11D7-B688-FDAEA8668E28}", &contract);
  UnRegisterTypeLib(contract, 1, 0, LOCALE_NEUTRAL, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
  Connect(kDevice);
  ITypeInfoPtr info;
  ASSERT_EQ(object->GetTypeInfo(0, LOCALE_NEUTRAL, &info), S_OK);
  UINT place = 0;
  for (FUNCDESC* member = nullptr; SUCCEEDED(info->GetFuncDesc(place, &member)); ++place) {
    _bstr_t name;
    info->GetDocumentation(member->memid, name.GetAddress(), nullptr, nullptr, nullptr);
    EXPECT_EQ(IdOf(name), member->memid) << Utf8Text(static_cast<const wchar_t*>(name));
    _variant_t result;
    if (member->invkind == INVOKE_PROPERTYGET && member->cParams == 0) {
      EXPECT_EQ(Invoke(name, DISPATCH_PROPERTYGET, {}, &result), S_OK)
          << Utf8Text(static_cast<const wchar_t*>(name));
      const auto described = member->elemdescFunc.tdesc.vt;
      EXPECT_EQ(described == VT_SAFEARRAY ? described : result.vt, described)
          << Utf8Text(static_cast<const wchar_t*>(name));
    }
    info->ReleaseFuncDesc(member);
  }
  EXPECT_EQ(place, 35u) << "the members of IADC3 and GetADC3";
}

TEST_F(Component, CallsByNameRefuseWhatDoesNotConvert) {
  const _variant_t one(short{1}), word(L"x");
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {one, word}), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(bad_argument, 1u);
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {one}), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Invoke(L"ADCName", DISPATCH_PROPERTYPUT, {one}), DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(IdOf(L"Volume"), DISPID_UNKNOWN);
}

TEST_F(Component, TheMonitorWindowFollowsTheStreamUntilItIsClosed) {
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  HWND form = nullptr, value = nullptr;
  std::string first;
  const auto look = [&](FormUser& user) {
    const auto& screen = static_cast<ScreenUser&>(user);
    const HWND before = std::exchange(form, screen.Form());
    EXPECT_TRUE(!before || form == before) << "shown again it must be the same window";
    value = screen.Control("txtValue");
    first = user.Text("txtValue");
    EXPECT_NE(user.Text("txtInfo").find(": COM300\r\nFT232R  A1B2C3"), std::string::npos);
  };
  const auto has_moved = [&](FormUser& user) { EXPECT_NE(user.Text("txtValue"), first); };
  for (const FormStep& close : {Enter(), Escape(), Press("cmdClose"), CloseBox()}) {
    std::vector<FormStep> steps(20, Tab());  // meanwhile the driver's timer ticks and brings lines
    steps.insert(steps.begin(), look);
    steps.insert(steps.end(), {has_moved, close});
    const ScreenUser user({"cmdClose", "txtInfo", "txtValue"}, steps);
    Get(adc, &IADC3::ShowSetting);
    EXPECT_FALSE(IsWindowVisible(form));
  }
  first = ScreenUser::WindowText(value);
  Pump(200);
  EXPECT_EQ(ScreenUser::WindowText(value), first) << "must not change while it is hidden";
}

TEST_F(Component, ShowsNoWindowWhileRecordingOrWithoutAScreen) {
  const ScreenUser user(kPortControls, {[](FormUser&) { ADD_FAILURE(); }});
  Record();
  ASSERT_EQ(Get(adc, &IADC3::StartRecord), VARIANT_TRUE);
  Get(adc, &IADC3::ShowSetting);
  Connect("sim:silent");
  const HWINSTA before = GetProcessWindowStation();
  ASSERT_TRUE(SetProcessWindowStation(CreateWindowStationW(L"unseen", 0, MAXIMUM_ALLOWED, nullptr)));
  Get(adc, &IADC3::ShowSetting);
  EXPECT_EQ(Get(adc, &IADC3::Test), VARIANT_FALSE);
  SetProcessWindowStation(before);
}

TEST_F(Component, AsksTheUserAboutASilentDevice) {
  Win32CommConfig ports;
  CommConfig config;
  std::uint32_t size = sizeof config;
  ASSERT_TRUE(ports.GetDefaultCommConfigA("COM7", &config, &size));
  const auto store = [&](std::uint32_t rate) {
    config.dcb.BaudRate = rate;
    ASSERT_TRUE(ports.SetDefaultCommConfigA("COM7", &config, size));
  };
  const FormStep pick = PickRow("lstPort", 1), store_another = [&](FormUser&) { store(57600); };
  store(1200);
  Connect("sim:silent,com=301 sim:silent=5,com=7,baud=57600");
  const ScreenUser user(kPortControls, {pick, store_another, pick, SeeText("lstPort", "COM7\t57600,N,8,1"),
                                        PickRow("cboCh", 3), Type("cboRate", "7"), Press("cmdOK")});
  ASSERT_EQ(Get(adc, &IADC3::Test), VARIANT_TRUE);
  EXPECT_EQ(Get(adc, &IADC3::get_BasePort), 7);
  EXPECT_EQ(Get(adc, &IADC3::get_ChannelsCount), 4);
  Pump(1500);        // until the device sends: only then is the choice stored
  Connect(kDevice);  // unloads the component, which stores it; the end of the process would not
}

// The last test: it leaves the component loaded.
TEST_F(Component, SurvivesAReleaseOnAnotherThread) {
  object = nullptr;
  Get(adc, &IADC3::Test);
  std::thread([last = adc.Detach()] { last->Release(); }).join();
  CoFreeUnusedLibrariesEx(0, 0);
  Pump(200);  // ticks would go to unloaded code, or to a timer that has been deleted
  EXPECT_TRUE(GetModuleHandleW(L"HT_TEXT.adc")) << "the window of its timer must hold it";
}

}  // namespace
