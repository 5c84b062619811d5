#include "settings/driver_settings.h"

namespace halden {
namespace {

constexpr char kVendorKey[] = "Software\\Corvane\\ADC";
constexpr char kFamilyKey[] = "\\Brackwell";
constexpr char kPort[] = "Port";
constexpr char kChannels[] = "ChannelFixed";

}  // namespace

std::string DriverSettings::KeyOf(const std::string& name) {
  return std::string(kVendorKey) + kFamilyKey + "\\" + name;
}

void DriverSettings::InitSettingsKey(const std::string& name) {
  if (store_.ADCState.DriverName.empty()) store_.ADCState.DriverName = name;
  store_.SettingsKey = KeyOf(name);
  cRegistry& registry = OpenSettings();
  // Write the label only if it differs, so that starting the driver changes nothing.
  if (registry.StringValue("") != name) registry.SetString("", name);
}

void DriverSettings::LoadSetting(tUserChoice& choice) {
  cRegistry& registry = OpenSettings();
  registry.GetInteger(kPort, store_.BasePort, 1);
  registry.GetInteger(kChannels, choice.UserChannels, 1);
  if (choice.UserChannels < 1 || choice.UserChannels > tUserChoice::kMostChannels) choice.UserChannels = 1;
  registry.GetSingle(kRate, choice.UserRate, 1.0f);
  // Not `<= 0`: this form also catches a NaN, which an edited file may hold.
  if (!(choice.UserRate > 0)) choice.UserRate = 0;
}

void DriverSettings::SaveSetting(const tUserChoice& choice) {
  // Until a line has been analysed, nothing shows that the choice of port was right.
  if (!store_.FormatKnown) return;
  cRegistry& registry = OpenSettings();
  registry.SetInteger(kPort, store_.BasePort);
  // 0 means that the settings were never loaded, so that those of an earlier run still hold.
  if (choice.UserChannels > 0) registry.SetInteger(kChannels, choice.UserChannels);
  if (choice.UserRate > 0) registry.SetSingle(kRate, choice.UserRate);
}

/// Selects root and path at each use, because creating the key may have failed the last time.
cRegistry& DriverSettings::OpenSettings() {
  if (!settings_registry_) settings_registry_.emplace(api_, texts_);
  settings_registry_->RootKey(HKEY_CURRENT_USER);
  settings_registry_->KeyPath(store_.SettingsKey);
  return *settings_registry_;
}

}  // namespace halden
