#include "com/argument.h"

namespace halden::com {

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
