#include "backends/windows/win32_comm_config.h"

#include <windows.h>

namespace halden {
namespace {

static_assert(sizeof(CommConfig) == sizeof(COMMCONFIG));
static_assert(sizeof(Dcb) == sizeof(DCB));

HANDLE Native(CommHandle port) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(port));
}

}  // namespace

bool Win32CommConfig::GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) {
  DWORD room = *size;
  const bool filled = ::GetDefaultCommConfigA(name.c_str(), static_cast<COMMCONFIG*>(config), &room);
  *size = room;
  return filled;
}

bool Win32CommConfig::SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) {
  auto* const block = static_cast<COMMCONFIG*>(const_cast<void*>(config));
  return ::SetDefaultCommConfigA(name.c_str(), block, size);
}

bool Win32CommConfig::CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) {
  return ::CommConfigDialogA(name.c_str(), reinterpret_cast<HWND>(owner),
                             reinterpret_cast<COMMCONFIG*>(config));
}

CommHandle Win32CommConfig::CreateFileA(const std::string& path) {
  constexpr DWORD kNotShared = 0;
  const HANDLE port = ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, kNotShared, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  return static_cast<CommHandle>(reinterpret_cast<std::intptr_t>(port));
}

bool Win32CommConfig::GetCommConfig(CommHandle port, void* config, std::uint32_t* size) {
  DWORD room = *size;
  const bool filled = ::GetCommConfig(Native(port), static_cast<COMMCONFIG*>(config), &room);
  *size = room;
  return filled;
}

void Win32CommConfig::CloseHandle(CommHandle port) {
  ::CloseHandle(Native(port));
}

}  // namespace halden
