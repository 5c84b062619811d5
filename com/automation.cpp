#include "com/automation.h"

#include <cstring>
#include <new>
#include <windows.h>

namespace halden::com {
namespace {

constexpr ULONG kMostChannels = 32767;

/// Of an array that doesn't tell its type the size of the elements decides.
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
    SafeArrayDestroy(array);
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

}  // namespace halden::com
