#pragma once

#include <map>
#include <string>
#include <vector>

#include "model/store.h"
#include "platform/sim/sim_platform.h"
#include "platform/toolkit/scripted_toolkit.h"

namespace halden {

/// The system's port configuration as a table, with a user who may confirm a rate in its dialog.
class PortTableConfig : public CommConfigApi {
 public:
  std::map<std::string, std::uint32_t> rates;  ///< ports that have a default, by name
  std::uint32_t confirmed_rate = 0;            ///< 0: the dialog is cancelled
  bool can_store = true;
  std::vector<std::string> calls;

  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override {
    calls.push_back("get " + name + " " + std::to_string(*size));
    if (!rates.count(name) || *size < sizeof(CommConfig)) return false;
    auto& filled = *static_cast<CommConfig*>(config);
    filled.dcb.BaudRate = rates[name];
    filled.dcb.ByteSize = 8;
    return true;
  }
  bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) override {
    const std::uint32_t rate = static_cast<const CommConfig*>(config)->dcb.BaudRate;
    calls.push_back("set " + name + " " + std::to_string(rate) + " " + std::to_string(size));
    if (can_store) rates[name] = rate;
    return can_store;
  }
  bool CommConfigDialogA(const std::string& name, std::uintptr_t, CommConfig* config) override {
    calls.push_back("ask " + name);
    if (confirmed_rate != 0) config->dcb.BaudRate = confirmed_rate;
    return confirmed_rate != 0;
  }
  CommHandle CreateFileA(const std::string&) override { return -1; }
  bool GetCommConfig(CommHandle, void*, std::uint32_t*) override { return false; }
  void CloseHandle(CommHandle) override {}
};

/// What the forms stand on, with a scripted user: three devices of which the second could not be opened.
struct FormMachine {
  explicit FormMachine(SimMachine machine = {})
      : sim({}, machine), script(sim.clock()), platform(PlatformOn(script)) {
    ports.rates = {{"COM5", 9600}, {"COM12", 19200}};
    store.PortTable.resize(3);
    store.PortTable[0].Name = "COM5";
    store.PortTable[2].Name = "COM12";
    store.PortCount = 3;
  }

  Platform PlatformOn(Toolkit& toolkit) {
    Platform& machine = sim.platform();
    return {machine.d2xx,         ports,         machine.registry, machine.clock,
            machine.number_rules, machine.texts, toolkit};
  }

  SimPlatform sim;
  ScriptedToolkit script;
  PortTableConfig ports;
  Store store;
  Platform platform;
};

inline SimMachine RussianMachine() {
  return {.number_rules = FixedNumberRules::Comma(),
          .language = TextLanguage::kRussian,
          .system_language = 0x0419};
}

}  // namespace halden
