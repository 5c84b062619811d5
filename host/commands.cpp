#include "host/commands.h"

namespace halden::host {

int RunCommand(const Arguments& arguments, Progress& progress) {
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

int Print(const std::string& text, Progress& progress) {
  Output output("-");
  output.Write(text);
  output.Close();
  if (output.Failure().empty()) return kDone;
  progress.Fail(output.Failure());
  return kRefused;
}

}  // namespace halden::host
