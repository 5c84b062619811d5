#include "backends/system_platform.h"
#include "host/commands.h"
#include "host/local/local_session.h"
#include "host/process.h"

namespace halden::host {
namespace {

int RunWithDriver(SystemPlatform& system, const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kMonitor && !system.platform().toolkit.CanShow()) {
    progress.Fail("monitor needs a terminal that can show the window");
    return kRefused;
  }
  LocalSession session(system, arguments.platform.answer, arguments.platform.cancel);
  if (arguments.command == Command::kMonitor) return RunMonitor(session, progress);
  if (arguments.command == Command::kExplain) return RunExplain(session, arguments, progress);
  if (arguments.command == Command::kWatch) return RunWatch(session, arguments, progress);
  return RunRecord(session, arguments, progress);
}

int RunOn(SystemPlatform& system, const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kDevices) return RunDevices(system, arguments, progress);
  if (arguments.command == Command::kSettings) return RunSettings(system, arguments, progress);
  return RunWithDriver(system, arguments, progress);
}

void AbandonDevices(void* system) noexcept {
  static_cast<SystemPlatform*>(system)->AbandonDevices();
}

}  // namespace

int RunCommand(const Arguments& arguments, Progress& progress) {
  if (arguments.command == Command::kHelp) return Print(arguments.text, progress);
  if (arguments.command == Command::kRanges) return RunRanges(progress);
  if (arguments.command == Command::kConvert) return RunConvert(arguments, progress);
  std::string error;
  SystemPlatformOptions options = arguments.platform;
  options.only_list = arguments.command == Command::kDevices;
  const auto system = OpenSystemPlatform(options, &error);
  if (!system) {
    progress.Fail(error);
    return kWrongArguments;
  }
  SetPutBack(AbandonDevices, system.get());
  EndOnStopSignals();
  const int code = RunOn(*system, arguments, progress);
  CatchStopSignals();  // the signal handler must not use the platform, which is about to be destroyed
  for (const std::string& notice : system->TakeNotices()) progress.Fail(notice);
  return code;
}

}  // namespace halden::host
