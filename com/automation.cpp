#include "com/automation.h"

#include <cstring>
#include <new>
#include <windows.h>

namespace halden::com {
namespace {

constexpr ULONG kMostChannels = 32767;  // a 16-bit number counts them

/// Whether the elements are 16-bit numbers. An array that doesn't record its type is judged by the elements'
/// size.
bool HoldsCodes(SAFEARRAY* array) noexcept {
  VARTYPE type = VT_I2;
  if (array->fFeatures & FADF_HAVEVARTYPE) SafeArrayGetVartype(array, &type);
  return type == VT_I2 && array->cbElements == sizeof(short);
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
    SafeArrayDestroy(array);  // with the strings that it holds already
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
  SAFEARRAY* source = nullptr;
  if (from.vt == (VT_ARRAY | VT_VARIANT)) source = from.parray;
  if (from.vt == (VT_BYREF | VT_ARRAY | VT_VARIANT) && from.pparray) source = *from.pparray;
  if (!source) return DISP_E_TYPEMISMATCH;
  if (SafeArrayGetDim(source) != 1) return DISP_E_BADINDEX;
  SAFEARRAYBOUND bound = source->rgsabound[0];
  if (bound.cElements > 0 && !source->pvData) return E_INVALIDARG;
  SAFEARRAY* const codes = SafeArrayCreate(VT_I2, 1, &bound);
  if (!codes) return E_OUTOFMEMORY;
  to->vt = VT_ARRAY | VT_I2;
  to->parray = codes;
  VARIANT* elements = nullptr;
  HRESULT result = SafeArrayAccessData(source, reinterpret_cast<void**>(&elements));
  if (FAILED(result)) return result;
  for (ULONG i = 0; i < bound.cElements && SUCCEEDED(result); ++i) {
    VARIANT code = {};
    result = VariantChangeType(&code, &elements[i], 0, VT_I2);
    if (SUCCEEDED(result)) static_cast<short*>(codes->pvData)[i] = code.iVal;
  }
  SafeArrayUnaccessData(source);
  return result;
}

}  // namespace halden::com
