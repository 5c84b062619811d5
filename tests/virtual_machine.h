#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "backends/sim/sim_platform.h"
#include "backends/system_platform.h"
#include "backends/toolkit/answering_toolkit.h"

namespace halden {

/// A platform on a virtual clock for the host's commands. It has no user: without --answer the port dialog is
/// cancelled.
class VirtualMachine final : public SystemPlatform {
 public:
  VirtualMachine(const SystemPlatformOptions& options, const FixedNumberRules& rules)
      : sim(options.devices, {.number_rules = rules}),
        answering_(sim.toolkit(), sim.clock(), sim.number_rules(), options.answer, true),
        platform_{sim.library(),      sim.library(),        sim.registry(), sim.clock(),
                  sim.number_rules(), sim.platform().texts, answering_} {}

  Platform& platform() override { return platform_; }
  std::vector<std::string> OpenFailures() const override {
    return failures.empty() ? sim.library().OpenFailures() : failures;
  }
  bool HasEnded(std::int32_t place) const override { return sim.library().HasEnded(place); }
  std::optional<std::uint64_t> Overruns() const override { return overruns; }
  void HoldDialogBack(bool hold) override { answering_.HoldDialogBack(hold); }

  mutable SimPlatform sim;
  std::uint64_t overruns = 0;         ///< reported for the device
  std::vector<std::string> failures;  ///< instead of those of the devices, unless empty

 private:
  AnsweringToolkit answering_;
  Platform platform_;
};

}  // namespace halden
