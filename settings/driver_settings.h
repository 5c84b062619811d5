#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/store.h"
#include "settings/cRegistry.h"

namespace halden {

/// What the user, now or in an earlier run, has entered for a device that can't be recognised.
struct tUserChoice {
  static constexpr std::int16_t kMostChannels = 32;

  std::int16_t UserChannels = 0;  ///< 0 until the settings have been loaded, then 1 to 32
  float UserRate = 0;             ///< hertz; 0: not known
};

/// What the driver remembers between runs, in one registry key of the current user. Registry failures aren't
/// reported: a value that can't be read takes its default, and one that can't be written stays as it was.
/// Only std::bad_alloc is thrown.
class DriverSettings {
 public:
  /// All arguments must outlive the object.
  DriverSettings(Store& store, RegistryApi& api, TextResources& texts)
      : store_(store), api_(api), texts_(texts) {}

  /// Path of the settings key of a driver with this name, below HKEY_CURRENT_USER.
  static std::string KeyOf(const std::string& name);
  /// Name of the value that holds the rate, as the bits of a float.
  static constexpr char kRate[] = "RateFixed";

  /// Sets the store's SettingsKey, and its DriverName if that is empty. Makes the key with `name` as its
  /// default value. Must be the first call, before any device is looked for.
  void InitSettingsKey(const std::string& name);
  /// Fills the store's BasePort and the user's choice. Missing values become 1, a number of channels outside
  /// 1 to 32 too. A rate that isn't above 0 becomes 0.
  void LoadSetting(tUserChoice& choice);
  /// Writes BasePort, and the user's choice if there is one. Writes nothing before a line has been analysed.
  void SaveSetting(const tUserChoice& choice);

 private:
  /// Returns the registry on the settings key. All three calls share one object, which the first one makes.
  cRegistry& OpenSettings();

  Store& store_;
  RegistryApi& api_;
  TextResources& texts_;
  std::optional<cRegistry> settings_registry_;
};

}  // namespace halden
