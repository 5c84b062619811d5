#include "com/class_factory.h"

#include "com/halden_text_object.h"

namespace halden::com {

HRESULT ClassFactory::QueryInterface(REFIID id, void** result) {
  if (!result) return E_POINTER;
  const bool known = id == IID_IUnknown || id == IID_IClassFactory;
  *result = known ? this : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG ClassFactory::Release() {
  const LONG left = InterlockedDecrement(&references_);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID id, void** result) {
  if (!result) return E_POINTER;
  *result = nullptr;
  if (outer) return CLASS_E_NOAGGREGATION;
  HaldenTextObject* const object = HaldenTextObject::Create();
  if (!object) return E_OUTOFMEMORY;
  const HRESULT found = object->QueryInterface(id, result);
  object->Release();
  return found;
}

HRESULT ClassFactory::LockServer(BOOL lock) {
  if (lock) {
    HoldComponent();
  } else {
    ReleaseComponent();
  }
  return S_OK;
}

}  // namespace halden::com
