#include "com/registration.h"

#include <array>
#include <olectl.h>
#include <string>

#include "com/adc3_vtable.h"
#include "com/component.h"

namespace halden::com {
namespace {

#ifdef _WIN64
constexpr SYSKIND kSystem = SYS_WIN64;
#else
constexpr SYSKIND kSystem = SYS_WIN32;
#endif

constexpr wchar_t kDescription[] = L"Halden-Text Driver";
constexpr WORD kLibraryMajor = 1, kLibraryMinor = 1;

struct Entry {
  std::wstring key;  // below the classes
  const wchar_t* name;
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

/// Empty if it has no path that fits.
std::wstring ComponentPath() {
  wchar_t path[2048];
  const DWORD length = GetModuleFileNameW(static_cast<HINSTANCE>(ComponentModule()), path, 2048);
  return length < 2048 ? std::wstring(path, length) : std::wstring();
}

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

bool UnregisterLibrary() {
  const HRESULT result = UnRegisterTypeLib(kLibraryId, kLibraryMajor, kLibraryMinor, LOCALE_NEUTRAL, kSystem);
  return SUCCEEDED(result) || result == TYPE_E_REGISTRYACCESS || result == TYPE_E_LIBNOTREGISTERED;
}

HRESULT Register() {
  const std::wstring path = ComponentPath();
  if (path.empty()) return SELFREG_E_CLASS;
  for (const Entry& entry : Entries(path)) {
    if (!Write(entry)) return SELFREG_E_CLASS;
  }
  return RegisterLibrary(path) ? S_OK : SELFREG_E_TYPELIB;
}

}  // namespace

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

HRESULT UnregisterComponent() noexcept {
  try {
    const bool library = UnregisterLibrary();
    const bool name = Delete(kProgId), entries = Delete(ClassKey());
    if (!name || !entries) return SELFREG_E_CLASS;
    return library ? S_OK : SELFREG_E_TYPELIB;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace halden::com
