#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/windows/host_side.h"

using namespace halden::windows_test;

namespace {

std::wstring HereIs(const wchar_t* file) {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring program = path;
  return program.substr(0, program.rfind(L'\\') + 1) + file;
}

/// Registered as long as it lives.
class RegisteredContract {
 public:
  RegisteredContract() {
    const std::wstring path = HereIs(L"contract.tlb");
    ITypeLib* library = nullptr;
    EXPECT_EQ(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library), S_OK);
    EXPECT_EQ(RegisterTypeLib(library, const_cast<LPOLESTR>(path.c_str()), nullptr), S_OK);
    library->GetLibAttr(&attributes_);
    library_ = Reference(library);
  }
  ~RegisteredContract() {
    UnRegisterTypeLib(attributes_->guid, 1, 0, LOCALE_NEUTRAL, attributes_->syskind);
    static_cast<ITypeLib*>(library_.get())->ReleaseTLibAttr(attributes_);
  }
  RegisteredContract(const RegisteredContract&) = delete;
  RegisteredContract& operator=(const RegisteredContract&) = delete;

 private:
  Reference library_;
  TLIBATTR* attributes_ = nullptr;
};

class ByName : public testing::Test {
 protected:
  static IDispatch& Dispatch(const Reference& of) { return *static_cast<IDispatch*>(of.get()); }

  DISPID IdOf(const wchar_t* name) const {
    DISPID id = DISPID_UNKNOWN;
    auto* text = const_cast<LPOLESTR>(name);
    Dispatch(object).GetIDsOfNames(IID_NULL, &text, 1, LOCALE_NEUTRAL, &id);
    return id;
  }
  /// `arguments` in the order in which they are passed, backwards.
  HRESULT Invoke(const wchar_t* name, WORD flags, std::vector<VARIANT> arguments, VARIANT* result = nullptr) {
    DISPID put = DISPID_PROPERTYPUT;
    const bool puts = flags == DISPATCH_PROPERTYPUT;
    DISPPARAMS parameters = {arguments.data(), puts ? &put : nullptr, static_cast<UINT>(arguments.size()),
                             puts ? 1u : 0u};
    bad_argument = 99;
    return Dispatch(object).Invoke(IdOf(name), IID_NULL, LOCALE_NEUTRAL, flags, &parameters, result, nullptr,
                                   &bad_argument);
  }

  InApartment apartment;
  Reference object = NewObject();
  UINT bad_argument = 99;
};

VARIANT Number(short value) {
  VARIANT variant{};
  variant.vt = VT_I2;
  variant.iVal = value;
  return variant;
}

TEST_F(ByName, IdentifiersAreTheContractsWhereItIsRegistered) {
  const DISPID own = IdOf(L"ADCName");
  EXPECT_EQ(IdOf(L"adcNAME"), own);
  EXPECT_EQ(IdOf(L"Volume"), DISPID_UNKNOWN);
  UINT infos = 9;
  Dispatch(object).GetTypeInfoCount(&infos);
  EXPECT_EQ(infos, 0u);

  const RegisteredContract contract;
  object = NewObject();
  EXPECT_EQ(IdOf(L"ADCName"), 1745027134);
  EXPECT_EQ(IdOf(L"ChannelRange"), 1745027120);
  EXPECT_EQ(IdOf(L"Resolution"), IdOf(L"resolution")) << "one that the library doesn't have";
  EXPECT_NE(IdOf(L"Resolution"), DISPID_UNKNOWN);
  Dispatch(object).GetTypeInfoCount(&infos);
  EXPECT_EQ(infos, 1u);
  VARIANT name{};
  ASSERT_EQ(Invoke(L"ADCName", DISPATCH_PROPERTYGET, {}, &name), S_OK);
  EXPECT_STREQ(name.bstrVal, L"Halden-Text");
  VariantClear(&name);
}

TEST_F(ByName, ArgumentsArriveInOrderAndAnswersInTheCallersOwnVariables) {
  ASSERT_EQ(object.As(kContract).Get<VARIANT_BOOL>(kTest), VARIANT_TRUE);
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {Number(7), Number(1)}), S_OK);
  VARIANT row{};
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYGET | DISPATCH_METHOD, {Number(1)}, &row), S_OK);
  EXPECT_EQ(row.iVal, 7);

  short codes[4] = {};
  long room = 4, waiting = -1;
  VARIANT arguments[3] = {};
  arguments[0].vt = arguments[1].vt = VT_BYREF | VT_I4;
  arguments[0].plVal = &waiting;
  arguments[1].plVal = &room;
  arguments[2].vt = VT_BYREF | VT_I2;
  arguments[2].piVal = codes;
  EXPECT_EQ(Invoke(L"GetData", DISPATCH_METHOD, {arguments, arguments + 3}), S_OK);
  EXPECT_EQ(room, 0);
  EXPECT_EQ(waiting, 0);
  EXPECT_EQ(Invoke(L"GetData", DISPATCH_METHOD, {arguments[0], arguments[1], Number(0)}),
            DISP_E_TYPEMISMATCH);
  EXPECT_EQ(bad_argument, 2u);
}

TEST_F(ByName, WhatDoesNotFitIsRefused) {
  VARIANT missing{}, large{}, ignored{};
  missing.vt = VT_ERROR;
  large.vt = VT_R8;
  large.dblVal = 1e6;
  EXPECT_EQ(Invoke(L"ADCName", DISPATCH_PROPERTYGET, {Number(0)}, &ignored), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Invoke(L"ChannelName", DISPATCH_PROPERTYGET, {}, &ignored), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {missing, Number(0)}), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(bad_argument, 0u);
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {Number(0), large}), DISP_E_OVERFLOW);
  EXPECT_EQ(bad_argument, 1u);
  EXPECT_EQ(Invoke(L"ADCName", DISPATCH_PROPERTYPUT, {Number(0)}), DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(Invoke(L"Volume", DISPATCH_METHOD, {}), DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(ignored.vt, VT_EMPTY);
}

std::wstring Described(ITypeInfo& info) {
  TYPEATTR* attributes = nullptr;
  info.GetTypeAttr(&attributes);
  BSTR name = nullptr;
  info.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  wchar_t guid[40] = {};
  StringFromGUID2(attributes->guid, guid, 40);
  std::wstring text = std::wstring(name) + L" " + guid + L" kind " + std::to_wstring(attributes->typekind) +
                      L" flags " + std::to_wstring(attributes->wTypeFlags);
  for (UINT i = 0; attributes->typekind != TKIND_COCLASS && i < attributes->cFuncs; ++i) {
    FUNCDESC* function = nullptr;
    BSTR member = nullptr;
    info.GetFuncDesc(i, &function);
    info.GetDocumentation(function->memid, &member, nullptr, nullptr, nullptr);
    if (function->oVft >= 7 * static_cast<SHORT>(sizeof(void*)) || attributes->typekind == TKIND_INTERFACE)
      text += std::wstring(L" ") + member;
    SysFreeString(member);
    info.ReleaseFuncDesc(function);
  }
  if (attributes->typekind == TKIND_COCLASS) text += L" of " + std::to_wstring(attributes->cImplTypes);
  SysFreeString(name);
  info.ReleaseTypeAttr(attributes);
  return text;
}

TEST(TypeLibrary, HoldsTheClassWithItsDefaultInterfaceAlone) {
  const InApartment apartment;
  ITypeLib* library = nullptr;
  ASSERT_EQ(LoadTypeLibEx(HereIs(L"HT_TEXT.adc").c_str(), REGKIND_NONE, &library), S_OK);
  const Reference held(library);
  TLIBATTR* attributes = nullptr;
  library->GetLibAttr(&attributes);
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 1);
  EXPECT_EQ(attributes->lcid, static_cast<LCID>(LOCALE_NEUTRAL));
  library->ReleaseTLibAttr(attributes);
  BSTR name = nullptr, description = nullptr;
  library->GetDocumentation(-1, &name, &description, nullptr, nullptr);
  EXPECT_STREQ(name, L"Brackwell");
  EXPECT_STREQ(description, L"Halden-Text Driver");
  SysFreeString(name);
  SysFreeString(description);

  std::vector<std::wstring> types;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ITypeInfo* info = nullptr;
    library->GetTypeInfo(i, &info);
    const Reference type(info);
    types.push_back(Described(*info));
  }
  // Hidden, dual, not extensible, dispatchable; a class that can be created.
  EXPECT_EQ(types, (std::vector<std::wstring>{
                       L"_Halden_Text {0058F2CF-423E-42C8-86C9-F2323C000C21} kind 4 flags 4304 GetADC3",
                       L"Halden_Text {292810AF-C28E-4FEE-B0F3-693F6DFEC0EF} kind 5 flags 2 of 1"}));
}

}  // namespace
