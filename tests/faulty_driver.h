#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "driver/apartment.h"
#include "platform/sim/sim_platform.h"
#include "tests/faulty_platform.h"

namespace halden {

/// A driver on a simulated machine every one of whose calls can go wrong. It has no object yet.
struct FaultyDriver {
  explicit FaultyDriver(const std::vector<std::string>& devices, SimMachine like = {})
      : sim(devices, like), machine(sim.platform()), apartment(machine.platform) {}

  /// The user's way through the port dialog, if it comes: the first row, two channels.
  void AnswerDialog() {
    const auto on_dialog = [](auto act) {
      return user::Do([act](MemoryWindow& window) {
        if (window.Find("lstPort") >= 0) act(window);
      });
    };
    sim.toolkit().Play({on_dialog([](MemoryWindow& window) { window.PickRow(window.Find("lstPort"), 0); }),
                        on_dialog([](MemoryWindow& window) { window.PickRow(window.Find("cboCh"), 1); }),
                        on_dialog([](MemoryWindow& window) { window.Press(window.Find("cmdOK")); })});
  }

  SimPlatform sim;
  FaultyPlatform machine;
  Faults& faults = machine.faults;
  Apartment apartment;
  std::shared_ptr<IADC3> adc;
};

}  // namespace halden
