#include <memory>
#include <optional>

#include "driver/apartment.h"
#include "host/commands.h"
#include "platform/machine.h"

namespace halden::host {
namespace {

/// The driver linked to the program.
class LocalSession final : public Session {
 public:
  /// `machine` must outlive the session.
  LocalSession(Machine& machine, const std::optional<UserAnswer>& answer)
      : machine_(machine), answer_(answer), apartment_(machine.platform()), adc_(apartment_.CreateObject()) {}

  void Serve() override { apartment_.ServeMessages(); }

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
  Machine& machine_;
  const std::optional<UserAnswer> answer_;
  Apartment apartment_;
  std::shared_ptr<IADC3> adc_;
};

int RunWithDriver(Machine& machine, const Arguments& arguments, Progress& progress) {
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
  const auto machine = OpenMachine(arguments.machine, &error);
  if (!machine) {
    progress.Fail(error);
    return kWrongArguments;
  }
  if (arguments.command == Command::kDevices) return RunDevices(*machine, arguments, progress);
  if (arguments.command == Command::kSettings) return RunSettings(*machine, arguments, progress);
  return RunWithDriver(*machine, arguments, progress);
}

}  // namespace halden::host
