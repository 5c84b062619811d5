#pragma once

#include "platform/comm_config.h"

namespace halden {

/// The ports of Windows. A handle of the system keeps its value in 32 bits in a process of any width.
class Win32CommConfig final : public CommConfigApi {
 public:
  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override;
  bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) override;
  bool CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) override;
  CommHandle CreateFileA(const std::string& path) override;
  bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) override;
  void CloseHandle(CommHandle port) override;
};

}  // namespace halden
