#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/windows/host_side.h"

using namespace halden::windows_test;

namespace {

ITypeLibPtr Load(const wchar_t* file) {
  ITypeLibPtr library;
  EXPECT_EQ(LoadTypeLibEx(file, REGKIND_NONE, &library), S_OK);
  return library;
}

class ByName : public testing::Test {
 protected:
  DISPID IdOf(const wchar_t* name) const {
    DISPID id = DISPID_UNKNOWN;
    auto* text = const_cast<LPOLESTR>(name);
    object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_NEUTRAL, &id);
    return id;
  }
  UINT TypeInfos() const {
    UINT count = 9;
    object->GetTypeInfoCount(&count);
    return count;
  }
  /// `arguments` in the order in which they are passed, backwards.
  HRESULT Invoke(const wchar_t* name, WORD flags, std::vector<VARIANT> arguments, VARIANT* result = nullptr) {
    DISPID put = DISPID_PROPERTYPUT;
    const bool puts = flags == DISPATCH_PROPERTYPUT;
    DISPPARAMS parameters = {arguments.data(), puts ? &put : nullptr, static_cast<UINT>(arguments.size()),
                             puts ? 1u : 0u};
    return object->Invoke(IdOf(name), IID_NULL, LOCALE_NEUTRAL, flags, &parameters, result, nullptr,
                          &bad_argument);
  }

  InApartment apartment;
  IDispatchPtr object = NewObject();
  UINT bad_argument = 99;
};

TEST_F(ByName, IdentifiersAreTheContractsWhereItIsRegistered) {
  EXPECT_EQ(IdOf(L"adcNAME"), IdOf(L"ADCName"));
  EXPECT_NE(IdOf(L"ADCName"), 134);
  EXPECT_EQ(IdOf(L"Volume"), DISPID_UNKNOWN);
  EXPECT_EQ(TypeInfos(), 0u);

  wchar_t file[] = L"contract.tlb";
  const ITypeLibPtr contract = Load(file);
  ASSERT_EQ(RegisterTypeLib(contract, file, nullptr), S_OK);
  object = NewObject();
  EXPECT_EQ(IdOf(L"adcNAME"), 134);
  EXPECT_EQ(IdOf(L"InputChannels"), 115);
  EXPECT_NE(IdOf(L"GetADC3"), DISPID_UNKNOWN) << "one that the library doesn't have";
  EXPECT_EQ(TypeInfos(), 1u);
  _variant_t name;
  EXPECT_EQ(Invoke(L"ADCName", DISPATCH_PROPERTYGET, {}, &name), S_OK);
  EXPECT_EQ(name, _variant_t(L"Halden-Text"));
  TLIBATTR* attributes = nullptr;
  contract->GetLibAttr(&attributes);
  UnRegisterTypeLib(attributes->guid, 1, 0, LOCALE_NEUTRAL, attributes->syskind);
  contract->ReleaseTLibAttr(attributes);
}

TEST_F(ByName, ArgumentsArriveInOrderAndAnswersInTheCallersOwnVariables) {
  ASSERT_EQ(Get(IADC3Ptr(object), &IADC3::Test), VARIANT_TRUE);
  const _variant_t seven(short{7}), one(short{1});
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {seven, one}), S_OK);
  _variant_t row;
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYGET | DISPATCH_METHOD, {one}, &row), S_OK);
  EXPECT_EQ(row, seven);
  EXPECT_EQ(Invoke(L"ChannelRange", DISPATCH_PROPERTYPUT, {_variant_t(L"2,4"), one}), S_OK);
  Invoke(L"ChannelRange", DISPATCH_PROPERTYGET, {one}, &row);
  constexpr short kTwo = 2, kLast = 14;  // a comma separates groups in English
  EXPECT_EQ(row.iVal, PRIMARYLANGID(GetUserDefaultLangID()) == LANG_RUSSIAN ? kTwo : kLast);

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
  EXPECT_EQ(Invoke(L"GetData", DISPATCH_METHOD, {arguments[0], arguments[1], one}), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(bad_argument, 2u);
}

TEST_F(ByName, WhatDoesNotFitIsRefused) {
  const _variant_t zero(short{0}), large(1e6), word(L"x");
  _variant_t missing;
  missing.vt = VT_ERROR;
  const struct {
    const wchar_t* name;
    WORD flags;
    std::vector<VARIANT> arguments;
    HRESULT result;
    UINT bad;
  } cases[] = {{L"Volume", DISPATCH_METHOD, {}, DISP_E_MEMBERNOTFOUND, 99},
               {L"ADCName", DISPATCH_PROPERTYPUT, {zero}, DISP_E_MEMBERNOTFOUND, 99},
               {L"ADCName", DISPATCH_PROPERTYGET, {zero}, DISP_E_BADPARAMCOUNT, 0},
               {L"ChannelName", DISPATCH_PROPERTYGET, {}, DISP_E_BADPARAMCOUNT, 0},
               {L"GetData", DISPATCH_METHOD, {zero, zero}, DISP_E_BADPARAMCOUNT, 0},
               {L"ChannelName", DISPATCH_PROPERTYGET, {word}, DISP_E_TYPEMISMATCH, 0},
               {L"ChannelRange", DISPATCH_PROPERTYPUT, {missing, zero}, DISP_E_TYPEMISMATCH, 0},
               {L"ChannelRange", DISPATCH_PROPERTYPUT, {zero, large}, DISP_E_OVERFLOW, 1}};
  for (const auto& [name, flags, arguments, result, bad] : cases) {
    bad_argument = 99;
    EXPECT_EQ(Invoke(name, flags, arguments), result) << &name - &cases[0].name;
    EXPECT_EQ(bad_argument, bad) << &name - &cases[0].name;
  }
}

std::wstring Described(ITypeInfo& info) {
  TYPEATTR* attributes = nullptr;
  info.GetTypeAttr(&attributes);
  _bstr_t name;
  info.GetDocumentation(MEMBERID_NIL, name.GetAddress(), nullptr, nullptr, nullptr);
  wchar_t text[200] = {};
  StringFromGUID2(attributes->guid, text, 40);
  std::swprintf(text + 38, 160, L" %ls kind %d flags %d bases %d members %d", name.GetBSTR(),
                attributes->typekind, attributes->wTypeFlags, attributes->cImplTypes, attributes->cFuncs);
  info.ReleaseTypeAttr(attributes);
  return text;
}

TEST(TypeLibrary, HoldsTheClassWithItsDefaultInterfaceAlone) {
  const InApartment apartment;
  const ITypeLibPtr library = Load(L"HT_TEXT.adc");
  TLIBATTR* attributes = nullptr;
  library->GetLibAttr(&attributes);
  EXPECT_EQ(MAKELONG(attributes->wMinorVerNum, attributes->wMajorVerNum), 0x10001);
  EXPECT_EQ(attributes->lcid, static_cast<LCID>(LOCALE_NEUTRAL));
  library->ReleaseTLibAttr(attributes);
  _bstr_t name, description;
  library->GetDocumentation(-1, name.GetAddress(), description.GetAddress(), nullptr, nullptr);
  EXPECT_EQ(name + L": " + description, _bstr_t(L"Brackwell: Halden-Text Driver"));
  std::vector<std::wstring> types;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ITypeInfoPtr info;
    library->GetTypeInfo(i, &info);
    types.push_back(Described(*info));
  }
  // Hidden, dual, not extensible, dispatchable, with one member behind the 7 of every dispatch interface; a
  // class that can be created.
  EXPECT_EQ(types,
            (std::vector<std::wstring>{
                L"{0058F2CF-423E-42C8-86C9-F2323C000C21} _Halden_Text kind 4 flags 4304 bases 1 members 8",
                L"{292810AF-C28E-4FEE-B0F3-693F6DFEC0EF} Halden_Text kind 5 flags 2 bases 1 members 0"}));
}

}  // namespace
