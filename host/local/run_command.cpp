#include <memory>
#include <optional>

#include "backends/system_platform.h"
#include "driver/driver.h"
#include "host/commands.h"

namespace halden::host {
namespace {

/// A session with the driver that is linked to the program.
class LocalSession final : public Session {
 public:
  /// `machine` must outlive the session.
  LocalSession(SystemPlatform& machine, const std::optional<UserAnswer>& answer)
      : machine_(machine), answer_(answer), driver_(machine.platform()), adc_(driver_.CreateObject()) {}

  void Serve(std::chrono::milliseconds at_most) override {
    driver_.WaitForMessages(static_cast<std::uint32_t>(at_most.count()));
    driver_.ServeMessages();
  }

 protected:
  IADC3* Object() override { return adc_.get(); }
  std::string WhatWasTried() const override {
    const auto failures = machine_.OpenFailures();
    std::string tried;
    if (answer_ && static_cast<std::size_t>(answer_->port) >= failures.size())
      tried = "--answer: the port list has no row " + std::to_string(answer_->port) + "; ";
    for (std::size_t i = 0; i < failures.size(); ++i) {
      tried += (i ? "; " : "") + std::string("device ") + std::to_string(i) + ": ";
      tried += failures[i].empty() ? "no lines of numbers came" : failures[i];
    }
    return tried;
  }

 private:
  SystemPlatform& machine_;
  const std::optional<UserAnswer> answer_;
  Driver driver_;
  std::shared_ptr<IADC3> adc_;
};

int RunWithDriver(SystemPlatform& machine, const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kMonitor && !machine.platform().toolkit.CanShow()) {
    progress.Fail("monitor needs a terminal that can show the window");
    return kRefused;
  }
  LocalSession session(machine, arguments.machine.answer);
  if (arguments.command == Command::kMonitor) return RunMonitor(session, progress);
  if (arguments.command == Command::kWatch) return RunWatch(session, arguments, progress);
  return RunRecord(session, arguments, progress);
}

}  // namespace

int RunCommand(const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kHelp) return Print(HelpText(), progress);
  std::string error;
  const auto machine = OpenSystemPlatform(arguments.machine, &error);
  if (!machine) {
    progress.Fail(error);
    return kWrongArguments;
  }
  if (arguments.command == Command::kDevices) return RunDevices(*machine, arguments, progress);
  if (arguments.command == Command::kSettings) return RunSettings(*machine, arguments, progress);
  return RunWithDriver(*machine, arguments, progress);
}

}  // namespace halden::host
