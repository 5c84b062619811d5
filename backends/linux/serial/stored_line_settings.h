#pragma once

#include <optional>
#include <string>

#include "backends/linux/registry/file_registry.h"
#include "platform/comm_config.h"

namespace halden {

/// What ports have been configured for, by the serial number of their device, so that it outlives unplugging
/// and whichever tty the device gets next time. A file of its own in the registry's layout, where a port
/// stands as "FT1A2B3C"="230400,N,8,1".
class StoredLineSettings {
 public:
  /// Touches nothing. `rules` tell the code page of serial numbers.
  StoredLineSettings(const std::string& path, const NumberRules& rules) : registry_(path, rules) {}

  /// Nothing where none is stored, or what is stored can't be understood.
  std::optional<Dcb> Find(const std::string& serial);
  /// False where it can't be written; nothing is changed then.
  bool Keep(const std::string& serial, const Dcb& line);

 private:
  FileRegistry registry_;
};

/// The file of the ports that belongs to a registry's: "registry-ports.reg" beside "registry.reg".
std::string StoredLineSettingsFile(const std::string& registry_file);

}  // namespace halden
