#include "backends/system_platform.h"
#include "host/commands.h"
#include "host/local/local_session.h"

namespace halden::host {
namespace {

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
  if (arguments.command == Command::kHelp) return Print(arguments.text, progress);
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
