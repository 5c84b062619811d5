// The input is a registry file. If it can be read, writing it back must give the same registry. The driver's
// settings and their export must survive any content.

#include "backends/registry/registry_text.h"
#include "backends/sim/sim_platform.h"
#include "driver/inspect.h"
#include "fuzz/choices.h"
#include "settings/driver_settings.h"

namespace halden {
namespace {

const std::string kKey = "Software\\Corvane\\ADC\\Brackwell\\Halden-Text";

/// A registry with this content.
struct TextRegistry : RegistryBase {
  TextRegistry(const NumberRules& rules, RegistryTree holds) : RegistryBase(rules), tree(std::move(holds)) {}
  std::int32_t Read(const Operation& operation) override { return operation(tree); }
  std::int32_t Change(const Operation& operation) override { return operation(tree); }
  RegistryTree tree;
};

/// Writes and reads the registry again, then lets the driver load, save, show and export its settings.
void Run(const std::string& text) {
  const std::optional<RegistryTree> tree = ParseRegistryText(text);
  if (!tree) return;
  const std::optional<RegistryTree> again = ParseRegistryText(FormatRegistryText(*tree));
  Demand(again == tree, "a registry that is written reads back the same");

  SimPlatform sim({});
  TextRegistry registry(sim.number_rules(), *tree);
  Platform& machine = sim.platform();
  Platform platform{machine.d2xx,         machine.comm_config, registry,       machine.clock,
                    machine.number_rules, machine.texts,       machine.toolkit};
  Store store;
  DriverSettings settings(store, registry, machine.texts);
  tUserChoice choice;
  settings.InitSettingsKey("Halden-Text");
  settings.LoadSetting(choice);
  Demand(choice.UserChannels >= 1 && choice.UserChannels <= 32, "the number of channels is 1 to 32");
  Demand(choice.UserRate >= 0, "the rate is not below 0");
  store.FormatKnown = true;
  settings.SaveSetting(choice);
  const tUserChoice saved = choice;
  const std::int16_t port = store.BasePort;
  settings.LoadSetting(choice);
  Demand(store.BasePort == port && choice.UserChannels == saved.UserChannels,
         "saved settings are loaded again");
  std::string error;
  DescribeSettings(platform, &error);
  ExportSettings(platform, &error);
  cRegistry(registry, machine.texts).ExportKey(HKEY_CURRENT_USER, "", true);
  Demand(registry.OpenHandles() == 0, "no key stays open");
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
