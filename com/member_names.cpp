#include "com/member_names.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>

#include "com/automation.h"
#include "com/component.h"
#include "com/halden_text_object.h"

namespace halden::com {
namespace {

/// The first of the component's own identifiers, far from those that type libraries use. Also in
/// halden_text.idl, and counted on in members.idl.
constexpr DISPID kFirstOwnId = 0x48540001;

/// A call by name.
struct ByName {
  HaldenTextObject& object;
  DISPPARAMS& arguments;
  VARIANT& result;
  UINT bad_argument = 0;

  /// The argument for the member's parameter at `place`. IDispatch passes them last to first.
  VARIANT& At(std::size_t place) const { return arguments.rgvarg[arguments.cArgs - 1 - place]; }
  /// Records the first failure in *first, and the index of its argument in the host's order.
  void Note(std::size_t place, HRESULT outcome, HRESULT* first) {
    if (FAILED(*first) || SUCCEEDED(outcome)) return;
    *first = outcome;
    bad_argument = static_cast<UINT>(arguments.cArgs - 1 - place);
  }
};

template <auto member, bool gives>
struct Caller;

/// Calls `member` with the arguments converted to its parameter types. `gives`: the member has a result, so
/// its last parameter points to the result and isn't an argument.
template <class... T, HRESULT (STDMETHODCALLTYPE HaldenTextObject::*member)(T*...), bool gives>
struct Caller<member, gives> {
  static HRESULT Call(ByName& call) { return Call(call, std::make_index_sequence<sizeof...(T) - gives>()); }

 private:
  template <std::size_t... place>
  static HRESULT Call(ByName& call, std::index_sequence<place...>) {
    if (call.arguments.cArgs != sizeof...(place)) return DISP_E_BADPARAMCOUNT;
    std::tuple<Argument<std::tuple_element_t<place, std::tuple<T...>>>...> arguments(call.At(place)...);
    HRESULT converted = S_OK;
    (call.Note(place, std::get<place>(arguments).Result(), &converted), ...);
    if (FAILED(converted)) return converted;
    if constexpr (gives) {
      using Result = std::tuple_element_t<sizeof...(T) - 1, std::tuple<T...>>;
      auto* const result = reinterpret_cast<Result*>(&call.result.byref);
      return (call.object.*member)(std::get<place>(arguments).Pointer()..., result);
    } else {
      return (call.object.*member)(std::get<place>(arguments).Pointer()...);
    }
  }
};

/// Accepts only references to the host's variables. A converted copy of the first argument would have room
/// for only one code, and values written to copies of the other two would be lost.
HRESULT CallGetData(ByName& call) {
  constexpr VARTYPE kTypes[] = {VT_BYREF | VT_I2, VT_BYREF | VT_I4, VT_BYREF | VT_I4};
  if (call.arguments.cArgs != std::size(kTypes)) return DISP_E_BADPARAMCOUNT;
  HRESULT fits = S_OK;
  for (std::size_t i = 0; i < std::size(kTypes); ++i)
    call.Note(i, call.At(i).vt == kTypes[i] ? S_OK : DISP_E_TYPEMISMATCH, &fits);
  if (FAILED(fits)) return fits;
  return Caller<&HaldenTextObject::GetData, true>::Call(call);
}

/// A member as a script sees it: its name, how it is called, and the type of its result.
struct Row {
  const wchar_t* name;
  WORD kind;
  VARTYPE result;
  HRESULT (*call)(ByName& call);
};

template <auto member>
constexpr Row Get(const wchar_t* name, VARTYPE result) {
  return {name, DISPATCH_PROPERTYGET, result, Caller<member, true>::Call};
}

template <auto member>
constexpr Row Put(const wchar_t* name) {
  return {name, DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF, VT_EMPTY, Caller<member, false>::Call};
}

template <auto member>
constexpr Row Function(const wchar_t* name, VARTYPE result) {
  return {name, DISPATCH_METHOD, result, Caller<member, true>::Call};
}

using Object = HaldenTextObject;
constexpr VARTYPE kCodes = VT_ARRAY | VT_I2;

constexpr Row kMembers[] = {
    Function<&Object::GetADC3>(L"GetADC3", VT_UNKNOWN),
    Get<&Object::get_ADCName>(L"ADCName", VT_BSTR),
    Get<&Object::get_Resolution>(L"Resolution", VT_UI1),
    Get<&Object::get_ChannelsCount>(L"ChannelsCount", VT_I2),
    Get<&Object::get_RateMax>(L"RateMax", VT_R4),
    Get<&Object::get_Ranges>(L"Ranges", VT_ARRAY | VT_BSTR),
    Get<&Object::get_Detected>(L"Detected", VT_BOOL),
    Function<&Object::Test>(L"Test", VT_BOOL),
    Get<&Object::get_BasePort>(L"BasePort", VT_I2),
    Get<&Object::get_Busy>(L"Busy", VT_BOOL),
    Get<&Object::get_ChannelName>(L"ChannelName", VT_BSTR),
    Get<&Object::get_ChannelRange>(L"ChannelRange", VT_I2),
    Put<&Object::put_ChannelRange>(L"ChannelRange"),
    Get<&Object::get_ChannelUnitScale>(L"ChannelUnitScale", VT_R4),
    Get<&Object::get_ChannelUnitOffset>(L"ChannelUnitOffset", VT_R4),
    Get<&Object::get_ChannelUnitName>(L"ChannelUnitName", VT_BSTR),
    Get<&Object::get_Rate>(L"Rate", VT_R4),
    Put<&Object::put_Rate>(L"Rate"),
    Put<&Object::put_InputSizeData>(L"InputSizeData"),
    Get<&Object::get_InputSizeData>(L"InputSizeData", VT_I4),
    Get<&Object::get_InputCountData>(L"InputCountData", VT_I4),
    Get<&Object::get_InputSizeKadrs>(L"InputSizeKadrs", VT_I4),
    Get<&Object::get_InputCountKadrs>(L"InputCountKadrs", VT_I4),
    Get<&Object::get_InputCountChannels>(L"InputCountChannels", VT_I2),
    Get<&Object::get_InputChannels>(L"InputChannels", kCodes),
    Put<&Object::put_InputChannels>(L"InputChannels"),
    Function<&Object::GetChannel>(L"GetChannel", VT_I2),
    Function<&Object::GetKadr>(L"GetKadr", kCodes),
    Function<&Object::StartRecord>(L"StartRecord", VT_BOOL),
    {L"StopRecord", DISPATCH_METHOD, VT_EMPTY, Caller<&Object::StopRecord, false>::Call},
    Get<&Object::get_InputData>(L"InputData", kCodes),
    {L"GetData", DISPATCH_METHOD, VT_I4, CallGetData},
    Get<&Object::get_LastError>(L"LastError", VT_BSTR),
    Function<&Object::ShowSetting>(L"ShowSetting", VT_BOOL),
    Get<&Object::get_Parent>(L"Parent", VT_DISPATCH),
};
constexpr std::size_t kRowCount = std::size(kMembers);

bool SameName(const wchar_t* a, const wchar_t* b) {
  return CompareStringOrdinal(a, -1, b, -1, TRUE) == CSTR_EQUAL;
}

/// kRowCount if there is none.
std::size_t FirstRowOf(const wchar_t* name) {
  std::size_t row = 0;
  while (row < kRowCount && !SameName(kMembers[row].name, name)) ++row;
  return row;
}

/// The description of an interface in a library, which is released; null if it has none.
ITypeInfo* Describe(ITypeLib* library, const GUID& interface_id) {
  ITypeInfo* info = nullptr;
  library->GetTypeInfoOfGuid(interface_id, &info);
  library->Release();
  return info;
}

/// The description of IADC3, with one reference; null if the contract's type library isn't registered.
ITypeInfo* LoadContract() {
  ITypeLib* library = nullptr;
  if (FAILED(LoadRegTypeLib(kADC3LibraryId, 1, 0, LOCALE_NEUTRAL, &library))) return nullptr;
  return Describe(library, kADC3Id);
}

/// The component's own description of the members, with one reference; null if the system can't load it.
ITypeInfo* LoadOwn() {
  const std::wstring path = ComponentPath() + L"\\2";  // the number of the resource
  ITypeLib* library = nullptr;
  if (FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library))) return nullptr;
  return Describe(library, kMembersId);
}

/// Whether the names of the arguments are allowed: only the new value of a property has one.
bool NamesFit(const DISPPARAMS& arguments, WORD kind) {
  if (arguments.cNamedArgs == 0) return true;
  return (kind & DISPATCH_PROPERTYPUT) != 0 && arguments.cNamedArgs == 1 &&
         arguments.rgdispidNamedArgs[0] == DISPID_PROPERTYPUT;
}

}  // namespace

MemberNames::~MemberNames() {
  if (type_info_) type_info_->Release();
}

ITypeInfo* MemberNames::TypeInfo() {
  Ids();
  return type_info_;
}

const std::array<DISPID, MemberNames::kRows>& MemberNames::Ids() {
  static_assert(kRows == kRowCount);
  if (ids_) return *ids_;
  type_info_ = LoadContract();
  ids_.emplace();
  for (std::size_t row = 0; row < kRowCount; ++row) {
    auto* name = const_cast<LPOLESTR>(kMembers[row].name);
    MEMBERID id = 0;
    // A property's get and set share an identifier, and so do its two rows.
    const bool known = type_info_ && SUCCEEDED(type_info_->GetIDsOfNames(&name, 1, &id));
    (*ids_)[row] = known ? id : kFirstOwnId + static_cast<DISPID>(FirstRowOf(name));
  }
  if (!type_info_) type_info_ = LoadOwn();
  return *ids_;
}

HRESULT MemberNames::GetIds(LPOLESTR* names, UINT count, DISPID* ids) {
  std::fill_n(ids, count, DISPID_UNKNOWN);
  if (count == 0) return E_INVALIDARG;
  const std::size_t row = names[0] ? FirstRowOf(names[0]) : kRowCount;
  if (row < kRowCount) ids[0] = Ids()[row];
  return row < kRowCount && count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT MemberNames::Invoke(HaldenTextObject& object, DISPID id, WORD flags, DISPPARAMS& arguments,
                            VARIANT* result, UINT* bad_argument) {
  std::size_t row = 0;
  while (row < kRowCount && (Ids()[row] != id || !(kMembers[row].kind & flags))) ++row;
  if (row == kRowCount) return DISP_E_MEMBERNOTFOUND;
  const Row& member = kMembers[row];
  if (!NamesFit(arguments, member.kind)) return DISP_E_NONAMEDARGS;
  VARIANT value = {};
  ByName call = {object, arguments, value};
  const HRESULT outcome = member.call(call);
  if (FAILED(outcome)) {
    if (bad_argument) *bad_argument = call.bad_argument;
    return outcome;
  }
  value.vt = member.result;
  if (result) {
    *result = value;
  } else {
    VariantClear(&value);
  }
  return S_OK;
}

}  // namespace halden::com
