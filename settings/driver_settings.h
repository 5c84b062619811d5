#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/store.h"
#include "settings/cRegistry.h"

namespace halden {

/// What the user, or an earlier run, says of a device that can't be recognised.
struct tUserChoice {
  static constexpr std::int16_t kMostChannels = 32;

  std::int16_t UserChannels = 0;  ///< 0 until the settings have been loaded, then 1 to 32
  float UserRate = 0;             ///< hertz; 0: not known
};

/// What the driver remembers between runs, in one key of the current user. Failures of the registry are told
/// to nobody: a value that can't be read takes its default, one that can't be written stays as it was.
class DriverSettings {
 public:
  /// All arguments must outlive the object.
  DriverSettings(Store& store, RegistryApi& api, TextResources& texts)
      : store_(store), api_(api), texts_(texts) {}

  /// Path below the current user's root of the key that a driver of this name keeps.
  static std::string KeyOf(const std::string& name);
  /// Name of the value that holds the bits of a rate.
  static constexpr char kRate[] = "RateFixed";

  /// Fixes SettingsKey, and DriverName where there is none, makes the key and gives it `name` as its label.
  /// The first call, before any device is looked for. Throws std::bad_alloc.
  void InitSettingsKey(const std::string& name);
  /// Fills BasePort and the user's choice. What is missing is 1; channels outside 1 to 32 become 1, a rate
  /// that is not above 0 becomes 0.
  void LoadSetting(tUserChoice& choice);
  /// Stores BasePort and the user's choice, as far as there is one, if a line has ever been analysed.
  void SaveSetting(const tUserChoice& choice);

 private:
  /// The registry on the settings key. All three operations share one object, made by the first of them.
  cRegistry& OpenSettings();

  Store& store_;
  RegistryApi& api_;
  TextResources& texts_;
  std::optional<cRegistry> settings_registry_;
};

}  // namespace halden
