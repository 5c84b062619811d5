#include "com/automation.h"

#include <cstring>
#include <new>
#include <string>
#include <windows.h>

namespace halden::com {
namespace {

constexpr ULONG kMostChannels = 32767;  // their count is a signed 16-bit number

/// Whether the elements are 16-bit numbers. If the array doesn't record its type, the size of the elements
/// decides.
bool HoldsCodes(SAFEARRAY* array) noexcept {
  VARTYPE type = VT_I2;
  if (array->fFeatures & FADF_HAVEVARTYPE) SafeArrayGetVartype(array, &type);
  return type == VT_I2 && array->cbElements == sizeof(short);
}

/// Whether ConvertArray reads elements of this type. All of them but VARIANT fit into a VARIANT's value.
bool IsConvertible(VARTYPE type) noexcept {
  switch (type) {
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_I8:
    case VT_INT:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_UI8:
    case VT_UINT:
    case VT_R4:
    case VT_R8:
    case VT_VARIANT:
      return true;
    default:
      return false;
  }
}

/// Converts without loss: 2.0 and "2" are 2. DISP_E_OVERFLOW for 70000, DISP_E_TYPEMISMATCH for 1.5 and for
/// what isn't a number.
HRESULT ConvertCode(VARIANT& from, short* to) noexcept {
  VARIANT code = {}, number = {};
  HRESULT result = VariantChangeType(&code, &from, 0, VT_I2);
  if (SUCCEEDED(result)) result = VariantChangeType(&number, &from, 0, VT_R8);
  if (FAILED(result)) return result;
  *to = code.iVal;
  return number.dblVal == code.iVal ? S_OK : DISP_E_TYPEMISMATCH;
}

/// Puts an array of 16-bit numbers into `to`. False if there is no memory for it.
bool MakeCodes(SAFEARRAYBOUND bound, VARIANT* to, short** codes) noexcept {
  SAFEARRAY* const array = SafeArrayCreate(VT_I2, 1, &bound);
  if (!array) return false;
  to->vt = VT_ARRAY | VT_I2;
  to->parray = array;
  *codes = static_cast<short*>(array->pvData);
  return true;
}

/// The caller must clear *value. Fails if the object has no such property.
HRESULT GetProperty(IDispatch* object, const std::wstring& name, VARIANT* value) {
  auto* text = const_cast<LPOLESTR>(name.c_str());
  DISPID id = DISPID_UNKNOWN;
  DISPPARAMS none = {};
  const HRESULT found = object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_NEUTRAL, &id);
  if (FAILED(found)) return found;
  return object->Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_PROPERTYGET, &none, value, nullptr, nullptr);
}

HRESULT GetCode(IDispatch* object, const std::wstring& name, short* code) {
  VARIANT value = {};
  HRESULT result = GetProperty(object, name, &value);
  if (SUCCEEDED(result)) result = ConvertCode(value, code);
  VariantClear(&value);
  return result;
}

/// As ConvertArray, for JScript's array [2, 1]: an object with the properties "length", "0" and "1".
HRESULT ConvertObject(IDispatch* object, VARIANT* to) noexcept {
  try {
    short count = 0;
    if (FAILED(GetCode(object, L"length", &count)) || count < 0) return DISP_E_TYPEMISMATCH;
    short* codes = nullptr;
    if (!MakeCodes({static_cast<ULONG>(count), 0}, to, &codes)) return E_OUTOFMEMORY;
    for (int i = 0; i < count; ++i) {
      const HRESULT result = GetCode(object, std::to_wstring(i), &codes[i]);
      if (FAILED(result)) return result == DISP_E_OVERFLOW ? result : DISP_E_TYPEMISMATCH;
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace

BSTR NewString(const std::string& utf8) noexcept {
  const int size = static_cast<int>(utf8.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
  const BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(length));
  if (text) MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text, length);
  return text;
}

SAFEARRAY* NewStringArray(const std::vector<std::string>& texts) noexcept {
  SAFEARRAY* const array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size()));
  if (!array) return nullptr;
  auto* element = static_cast<BSTR*>(array->pvData);
  for (const std::string& text : texts) {
    *element = NewString(text);
    if (*element++) continue;
    SafeArrayDestroy(array);  // also frees the strings that were added
    return nullptr;
  }
  return array;
}

SAFEARRAY* NewCodeArray(const std::vector<short>& codes) noexcept {
  SAFEARRAY* const array = SafeArrayCreateVector(VT_I2, 0, static_cast<ULONG>(codes.size()));
  if (array && !codes.empty()) std::memcpy(array->pvData, codes.data(), codes.size() * sizeof(short));
  return array;
}

SAFEARRAY* NewCodeTable(ULONG columns, ULONG rows) noexcept {
  SAFEARRAYBOUND bounds[] = {{columns, 0}, {rows, 0}};
  return SafeArrayCreate(VT_I2, 2, bounds);
}

HRESULT ReadCodeArray(SAFEARRAY* array, std::vector<short>* codes) noexcept {
  if (!array) return E_INVALIDARG;
  if (!HoldsCodes(array)) return DISP_E_TYPEMISMATCH;
  if (SafeArrayGetDim(array) != 1 || array->rgsabound[0].lLbound != 0) return DISP_E_BADINDEX;
  const ULONG count = array->rgsabound[0].cElements;
  if (count > kMostChannels || (count > 0 && !array->pvData)) return E_INVALIDARG;
  void* data = nullptr;
  if (const HRESULT locked = SafeArrayAccessData(array, &data); FAILED(locked)) return locked;
  HRESULT result = S_OK;
  try {
    const auto* const first = static_cast<const short*>(data);
    codes->assign(first, first + count);
  } catch (const std::bad_alloc&) {
    result = E_OUTOFMEMORY;
  }
  SafeArrayUnaccessData(array);
  return result;
}

HRESULT ConvertArray(const VARIANT& from, VARIANT* to) noexcept {
  if (from.vt == VT_DISPATCH && from.pdispVal) return ConvertObject(from.pdispVal, to);
  SAFEARRAY* source = nullptr;
  if ((from.vt & VT_ARRAY) != 0) source = (from.vt & VT_BYREF) != 0 ? *from.pparray : from.parray;
  VARTYPE type = VT_EMPTY;
  if (!source || FAILED(SafeArrayGetVartype(source, &type)) || !IsConvertible(type))
    return DISP_E_TYPEMISMATCH;
  if (SafeArrayGetDim(source) != 1) return DISP_E_BADINDEX;
  SAFEARRAYBOUND bound = source->rgsabound[0];
  if (bound.cElements > 0 && !source->pvData) return E_INVALIDARG;
  short* codes = nullptr;
  if (!MakeCodes(bound, to, &codes)) return E_OUTOFMEMORY;
  HRESULT result = S_OK;
  for (ULONG i = 0; i < bound.cElements && SUCCEEDED(result); ++i) {
    auto place = static_cast<LONG>(bound.lLbound + static_cast<LONG>(i));
    VARIANT element = {};
    element.vt = type == VT_VARIANT ? static_cast<VARTYPE>(VT_EMPTY) : type;
    result = SafeArrayGetElement(source, &place,
                                 type == VT_VARIANT ? static_cast<void*>(&element) : &element.byref);
    if (SUCCEEDED(result)) result = ConvertCode(element, &codes[i]);
    VariantClear(&element);
  }
  return result;
}

}  // namespace halden::com
