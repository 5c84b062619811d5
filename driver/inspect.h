#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/platform.h"

// Shows what a driver would find and remember, without starting one. All calls may throw std::bad_alloc.

namespace halden {

/// A device of the device list. ListDevices returns them in the list's order. Texts are UTF-8.
struct ListedDevice {
  std::string com_name;  ///< "COM5"; empty if the device could not be opened
  std::string chip;      ///< name of the chip type
  std::string serial;
  std::string description;
  std::string line;  ///< line settings of the port, "9600,N,8,1"; empty if it could not be opened
  bool line_is_fallback = false;  ///< the port's are unknown, so a driver leaves the device's as they are
};

/// Describes every device of a fresh list. Only an open device reports its COM number, so each one is opened
/// for a moment. That may raise its modem lines, unless the platform was made only for listing. Must not be
/// called while a Driver on this platform has a port open.
std::vector<ListedDevice> ListDevices(Platform& platform);

/// A stored value in readable form.
struct StoredSetting {
  std::string name;  ///< empty: the key's label
  std::string text;
  /// The value itself if it is a number.
  std::variant<std::monostate, std::int32_t, float> number = {};
};

/// Returns the values in the driver's settings key; none if it has never been made. Doesn't make the key.
/// `error` (not null) becomes one line that says why the registry can't be read, or empty.
std::vector<StoredSetting> DescribeSettings(Platform& platform, std::string* error);

/// Returns the same in the layout of the registry editor's export, in UTF-8; empty if there is no key.
std::string ExportSettings(Platform& platform, std::string* error);

}  // namespace halden
