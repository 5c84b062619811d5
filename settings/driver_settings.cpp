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
  if (registry.StringValue("") != name) registry.SetString("", name);
}

void DriverSettings::LoadSetting(tUserChoice& choice) {
  cRegistry& registry = OpenSettings();
  registry.GetInteger(kPort, store_.BasePort, 1);
  registry.GetInteger(kChannels, choice.UserChannels, 1);
  if (choice.UserChannels < 1 || choice.UserChannels > tUserChoice::kMostChannels) choice.UserChannels = 1;
  registry.GetSingle(kRate, choice.UserRate, 1.0f);
  // A rate that is no number compares as not greater, too.
  if (!(choice.UserRate > 0)) choice.UserRate = 0;
}

void DriverSettings::SaveSetting(const tUserChoice& choice) {
  if (!store_.FormatKnown) return;
  cRegistry& registry = OpenSettings();
  registry.SetInteger(kPort, store_.BasePort);
  if (choice.UserChannels > 0) registry.SetInteger(kChannels, choice.UserChannels);
  if (choice.UserRate > 0) registry.SetSingle(kRate, choice.UserRate);
}

cRegistry& DriverSettings::OpenSettings() {
  if (!settings_registry_) settings_registry_.emplace(api_, texts_);
  settings_registry_->RootKey(HKEY_CURRENT_USER);
  settings_registry_->KeyPath(store_.SettingsKey);
  return *settings_registry_;
}

}  // namespace halden
