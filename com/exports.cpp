#include <new>
#include <windows.h>

#include "com/adc3_vtable.h"
#include "com/class_factory.h"
#include "com/component.h"
#include "com/registration.h"

using namespace halden::com;

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* process_ends) {
  if (reason == DLL_PROCESS_ATTACH) return LoadComponent(module);
  if (reason == DLL_PROCESS_DETACH && !process_ends) UnloadComponent();
  return TRUE;
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return ComponentHeld() ? S_FALSE : S_OK;
}

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID class_id, REFIID id, void** result) {
  if (!result) return E_POINTER;
  *result = nullptr;
  if (class_id != kClassId) return CLASS_E_CLASSNOTAVAILABLE;
  auto* const factory = new (std::nothrow) ClassFactory;
  if (!factory) return E_OUTOFMEMORY;
  const HRESULT found = factory->QueryInterface(id, result);
  factory->Release();
  return found;
}

extern "C" HRESULT STDAPICALLTYPE DllRegisterServer() {
  return RegisterComponent();
}

extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer() {
  return UnregisterComponent();
}
