#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"
#include "tests/faulty_platform.h"

namespace halden {

/// A driver on a simulated machine every one of whose calls can go wrong. It has no object yet.
struct FaultyDriver {
  explicit FaultyDriver(const std::vector<std::string>& devices, SimOptions like = {})
      : sim(devices, like), machine(sim.platform()), instance(machine.platform) {}

  /// The user's way through the port dialog, if it comes: the first row, two channels.
  void AnswerDialog() {
    sim.toolkit().Play({user::PickRow("lstPort", 0), user::PickRow("cboCh", 1), user::Press("cmdOK")});
  }

  /// What the first device says while it is probed: two passes on, since the opening serves the queue before
  /// it purges the device.
  void SayWhileProbed(const std::string& bytes) {
    const auto say = [=, this] { sim.device(0).Feed(bytes); };
    sim.clock().Post([=, this] { sim.clock().Post(say); });
  }

  void Plug(std::size_t index, bool in) { in ? sim.device(index).Plug() : sim.device(index).Unplug(); }

  SimPlatform sim;
  FaultyPlatform machine;
  Faults& faults = machine.faults;
  Driver instance;
  std::shared_ptr<IADC3> adc;
};

}  // namespace halden
