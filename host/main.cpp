#include <vector>

#include "host/arguments.h"
#include "host/commands.h"
#include "host/stop_signal.h"

namespace halden::host {
namespace {

int Run(const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kHelp) return Print(HelpText(), progress);
  std::string error;
  const auto machine = OpenMachine(arguments.machine, &error);
  if (!machine) {
    progress.Fail(error);
    return kWrongArguments;
  }
  switch (arguments.command) {
    case Command::kDevices:
      return RunDevices(*machine, arguments, progress);
    case Command::kWatch:
      return RunWatch(*machine, arguments, progress);
    case Command::kRecord:
      return RunRecord(*machine, arguments, progress);
    case Command::kMonitor:
      return RunMonitor(*machine, arguments, progress);
    case Command::kSettings:
      return RunSettings(*machine, arguments, progress);
    case Command::kHelp:
      break;
  }
  return kDone;
}

}  // namespace
}  // namespace halden::host

int main(int count, char** words) {
  using namespace halden::host;
  IgnoreClosedPipes();
  std::string error;
  const auto arguments = ParseArguments({words + 1, words + count}, &error);
  Progress progress(!arguments || arguments->quiet);
  if (arguments) return Run(*arguments, progress);
  progress.Fail(error);
  return kWrongArguments;
}
