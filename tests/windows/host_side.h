#pragma once

#include <comdef.h>
#include <contract.h>

_COM_SMARTPTR_TYPEDEF(IUnknown, __uuidof(IUnknown));
_COM_SMARTPTR_TYPEDEF(IDispatch, __uuidof(IDispatch));
_COM_SMARTPTR_TYPEDEF(ITypeLib, __uuidof(ITypeLib));
_COM_SMARTPTR_TYPEDEF(ITypeInfo, __uuidof(ITypeInfo));
/// The interface as the contract's own description has it: the test that calls it knows nothing of ours.
_COM_SMARTPTR_TYPEDEF(IADC3, __uuidof(IADC3));

namespace halden::windows_test {

/// Of the two languages in which the tests run.
inline bool IsRussian() {
  return PRIMARYLANGID(GetUserDefaultLangID()) == LANG_RUSSIAN;
}

/// Lets messages through, as a host's own loop does.
inline void Pump(DWORD milliseconds) {
  const DWORD start = GetTickCount();
  for (MSG message; GetTickCount() - start < milliseconds;
       MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT))
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

}  // namespace halden::windows_test
