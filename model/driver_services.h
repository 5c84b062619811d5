#pragma once

#include <string>

namespace halden {

/// What a driver object needs of the parts above the store. Only InitSettingsKey throws.
class DriverServices {
 public:
  virtual ~DriverServices() = default;

  /// Fixes the settings key by the driver's name, makes it and labels it. Throws std::bad_alloc.
  virtual void InitSettingsKey(const std::string& name) = 0;
  /// Loads the form that owns device, buffer and timer. Nothing is shown and no device touched.
  virtual void LoadForm() noexcept = 0;
  /// Closes the port, saves the settings and takes the form down.
  virtual void UnloadForm() noexcept = 0;
  /// Finds and opens the device. False inside a running detection.
  virtual bool DetectPort() noexcept = 0;
  /// Shows the form until the user hides it. Nothing happens where it can't be shown or is shown already.
  virtual void ShowForm() noexcept = 0;
};

}  // namespace halden
