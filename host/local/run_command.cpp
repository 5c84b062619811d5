#include "backends/system_platform.h"
#include "host/commands.h"
#include "host/local/local_session.h"
#include "host/process.h"

namespace halden::host {
namespace {

int RunWithDriver(SystemPlatform& machine, const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kMonitor && !machine.platform().toolkit.CanShow()) {
    progress.Fail("monitor needs a terminal that can show the window");
    return kRefused;
  }
  LocalSession session(machine, arguments.machine.answer, arguments.machine.cancel);
  if (arguments.command == Command::kMonitor) return RunMonitor(session, progress);
  if (arguments.command == Command::kExplain) return RunExplain(session, arguments, progress);
  if (arguments.command == Command::kWatch) return RunWatch(session, arguments, progress);
  return RunRecord(session, arguments, progress);
}

int RunOn(SystemPlatform& machine, const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kDevices) return RunDevices(machine, arguments, progress);
  if (arguments.command == Command::kSettings) return RunSettings(machine, arguments, progress);
  return RunWithDriver(machine, arguments, progress);
}

void AbandonDevices(void* machine) noexcept {
  static_cast<SystemPlatform*>(machine)->AbandonDevices();
}

}  // namespace

int RunCommand(const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kHelp) return Print(arguments.text, progress);
  if (arguments.command == Command::kRanges) return RunRanges(progress);
  if (arguments.command == Command::kConvert) return RunConvert(arguments, progress);
  std::string error;
  SystemPlatformOptions options = arguments.machine;
  options.only_list = arguments.command == Command::kDevices;
  const auto machine = OpenSystemPlatform(options, &error);
  if (!machine) {
    progress.Fail(error);
    return kWrongArguments;
  }
  SetPutBack(AbandonDevices, machine.get());
  EndOnStopSignals();
  const int code = RunOn(*machine, arguments, progress);
  CatchStopSignals();  // the signal handler must not use the platform, which is about to be destroyed
  for (const std::string& notice : machine->TakeNotices()) progress.Fail(notice);
  return code;
}

}  // namespace halden::host
