#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "driver/apartment.h"
#include "platform/sim/sim_platform.h"

namespace halden {

/// A driver on a simulated machine, with one object that is not detected yet.
struct Driver {
  explicit Driver(const std::vector<std::string>& devices, SimMachine machine = {}) : sim(devices, machine) {}

  std::uint32_t TimeOf(const std::function<void()>& call) {
    const std::uint32_t start = sim.clock().GetTickCount();
    call();
    return sim.clock().GetTickCount() - start;
  }

  SimPlatform sim;
  Apartment apartment{sim.platform()};
  std::shared_ptr<IADC3> adc = apartment.CreateObject();
};

}  // namespace halden
