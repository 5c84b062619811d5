#include <array>
#include <new>
#include <olectl.h>
#include <string>
#include <windows.h>

#include "com/adc3_vtable.h"
#include "com/component.h"
#include "com/halden_text_object.h"

// The module's four exported functions, with the class factory and the registration.

namespace halden::com {
namespace {

/// Makes objects of the class. They can't be aggregated.
class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references_)); }
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** result) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  ~ClassFactory() = default;

  LONG references_ = 1;
  KeepLoaded keep_;
};

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

#ifdef _WIN64
constexpr SYSKIND kSystem = SYS_WIN64;
#else
constexpr SYSKIND kSystem = SYS_WIN32;
#endif

constexpr wchar_t kDescription[] = L"Halden-Text Driver";
constexpr WORD kLibraryMajor = 1, kLibraryMinor = 1;

/// A text value of the registry.
struct Entry {
  std::wstring key;     // below HKEY_CLASSES_ROOT
  const wchar_t* name;  // null: the key's default value
  std::wstring text;
};

std::wstring GuidText(const GUID& guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

std::wstring ClassKey() {
  return L"CLSID\\" + GuidText(kClassId);
}

/// The registry values that registration writes. The type library is registered separately.
std::array<Entry, 8> Entries(const std::wstring& path) {
  const std::wstring key = ClassKey();
  return {{{kProgId, nullptr, kDescription},
           {std::wstring(kProgId) + L"\\Clsid", nullptr, GuidText(kClassId)},
           {key, nullptr, kDescription},
           {key + L"\\InprocServer32", nullptr, path},
           {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
           {key + L"\\ProgID", nullptr, kProgId},
           {key + L"\\TypeLib", nullptr, GuidText(kLibraryId)},
           {key + L"\\VERSION", nullptr, L"1.1"}}};
}

bool Write(const Entry& entry) {
  const auto size = static_cast<DWORD>((entry.text.size() + 1) * sizeof(wchar_t));
  return RegSetKeyValueW(HKEY_CLASSES_ROOT, entry.key.c_str(), entry.name, REG_SZ, entry.text.c_str(),
                         size) == ERROR_SUCCESS;
}

/// Deletes a key and everything below it. True if the key doesn't exist afterwards, even if it never did.
bool Delete(const std::wstring& key) {
  const LSTATUS result = RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
  return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

bool RegisterLibrary(const std::wstring& path) {
  ITypeLib* library = nullptr;
  if (FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library))) return false;
  const HRESULT result = RegisterTypeLib(library, const_cast<LPOLESTR>(path.c_str()), nullptr);
  library->Release();
  return SUCCEEDED(result);
}

/// Whether the type library is registered for this width. UnRegisterTypeLib reports the same failure for a
/// library that isn't there as for one that can't be removed.
bool LibraryIsRegistered() {
  constexpr const wchar_t* kWidth = kSystem == SYS_WIN64 ? L"win64" : L"win32";
  const std::wstring key = L"TypeLib\\" + GuidText(kLibraryId) + L"\\1.1\\0\\" + kWidth;
  return RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
         ERROR_SUCCESS;
}

/// True if the library isn't registered afterwards.
bool UnregisterLibrary() {
  return !LibraryIsRegistered() ||
         SUCCEEDED(UnRegisterTypeLib(kLibraryId, kLibraryMajor, kLibraryMinor, LOCALE_NEUTRAL, kSystem));
}

/// Whether the component of the other width is registered on this machine. Each width has a view of CLSID,
/// but both share the ProgID.
bool OtherWidthIsRegistered() {
  constexpr REGSAM kOtherView = kSystem == SYS_WIN64 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, ClassKey().c_str(), 0, KEY_READ | kOtherView, &key)) return false;
  RegCloseKey(key);
  return true;
}

/// Removes what registration wrote; succeeds if nothing is there. The ProgID is removed last, and only if
/// nothing refers to it any more: neither a class that couldn't be removed nor that of the other width.
HRESULT UnregisterComponent() noexcept {
  try {
    const bool library = UnregisterLibrary();
    if (!Delete(ClassKey())) return SELFREG_E_CLASS;
    if (!OtherWidthIsRegistered() && !Delete(kProgId)) return SELFREG_E_CLASS;
    return library ? S_OK : SELFREG_E_TYPELIB;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT Register() {
  const std::wstring path = ComponentPath();
  if (path.empty()) return SELFREG_E_CLASS;
  for (const Entry& entry : Entries(path)) {
    if (!Write(entry)) return SELFREG_E_CLASS;
  }
  return RegisterLibrary(path) ? S_OK : SELFREG_E_TYPELIB;
}

/// Registers the class, its ProgID and the type library for the file that the module was loaded from. If a
/// step fails, the steps before it are undone.
HRESULT RegisterComponent() noexcept {
  try {
    const HRESULT result = Register();
    if (FAILED(result)) UnregisterComponent();
    return result;
  } catch (...) {
    UnregisterComponent();
    return E_OUTOFMEMORY;
  }
}

}  // namespace
}  // namespace halden::com

using namespace halden::com;

/// `process_ends` is not null if the module is unloaded because the process ends. Nothing is freed then: the
/// DLLs that the drivers need may already be gone.
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
