#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/platform.h"

// A look at what a driver finds and remembers, without one. All of it may throw std::bad_alloc.

namespace halden {

/// A device of the device list; its place there is its place in the vector. Texts are UTF-8.
struct ListedDevice {
  std::string com_name;  ///< "COM5"; empty if the device could not be opened
  std::string chip;      ///< name of the chip type
  std::string serial;
  std::string description;
  std::string line;               ///< the port's line settings, "9600,N,8,1"; empty if it could not be opened
  bool line_is_fallback = false;  ///< those of the port aren't known, and the device's own are left alone
};

/// Looks at every device of a fresh list. Only an open device reports its COM number, so each one is opened
/// for a moment, which may raise its modem lines; a platform that is made only for listing may avoid that.
/// Not while a Driver on the platform has a port open.
std::vector<ListedDevice> ListDevices(Platform& platform);

/// A value that the driver remembers, as a person would read it.
struct StoredSetting {
  std::string name;  ///< empty: the key's label
  std::string text;
  /// What `text` says where it is a number.
  std::variant<std::monostate, std::int32_t, float> number = {};
};

/// What the driver remembers; nothing if it has not stored anything yet. Makes no key. `error` is one line
/// that says why the registry can't be read, and empty where it can.
std::vector<StoredSetting> DescribeSettings(Platform& platform, std::string* error);

/// The same in the layout of the registry editor's export, in UTF-8; empty if there is no key.
std::string ExportSettings(Platform& platform, std::string* error);

}  // namespace halden
