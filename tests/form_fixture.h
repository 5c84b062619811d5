#pragma once

#include "backends/sim/sim_platform.h"
#include "model/store.h"

namespace halden {

/// A platform and store for tests of the forms: three devices, the second of which can't be opened.
struct FormFixture {
  explicit FormFixture(SimOptions machine = {})
      : sim({"sim:com=5,baud=9600", "sim:busy", "sim:com=12,baud=19200"}, machine) {
    store.PortTable.resize(3);
    store.PortTable[0].Name = "COM5";
    store.PortTable[2].Name = "COM12";
    store.PortCount = 3;
  }

  Platform PlatformOn(Toolkit& toolkit) {
    const Platform& rest = sim.platform();
    return {rest.d2xx, rest.comm_config, rest.registry, rest.clock, rest.number_rules, rest.texts, toolkit};
  }

  SimPlatform sim;
  Store store;
};

inline SimOptions RussianOptions() {
  return {.number_rules = FixedNumberRules::Comma(),
          .language = TextLanguage::kRussian,
          .system_language = 0x0419};
}

}  // namespace halden
