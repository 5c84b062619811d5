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

/// An apartment for as long as it lives.
class InApartment {
 public:
  InApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  ~InApartment() { CoUninitialize(); }
  InApartment(const InApartment&) = delete;
  InApartment& operator=(const InApartment&) = delete;
};

/// The default interface of a new object, by ProgID.
inline IDispatchPtr NewObject() {
  return IDispatchPtr(L"Brackwell.Halden_Text");
}

/// What a member without arguments gives.
template <class T>
T Get(IADC3* adc, HRESULT (STDMETHODCALLTYPE IADC3::*member)(T*)) {
  T value{};
  return SUCCEEDED((adc->*member)(&value)) ? value : T{};
}

/// Lets messages through, as a host's own loop does.
inline void Pump(DWORD milliseconds) {
  const DWORD start = GetTickCount();
  for (MSG message; GetTickCount() - start < milliseconds;
       MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT))
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

}  // namespace halden::windows_test
