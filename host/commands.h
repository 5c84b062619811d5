#pragma once

#include "backends/system_platform.h"
#include "host/arguments.h"
#include "host/progress.h"
#include "host/session.h"

namespace halden::host {

class LocalSession;

/// Exit codes. kDone is also used if the reader of standard output has closed it (`| head`), and kRefused if
/// an output can't be written.
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongArguments = 2;

/// Runs the command and returns the exit code. There is one implementation in local/, with the driver linked
/// in, and one in windows/, which loads the component.
int RunCommand(const Arguments& arguments, Progress& progress);

// These commands use only the host's contract, IADC3. Each returns the exit code.
int RunWatch(Session& session, const Arguments& arguments, Progress& progress);
int RunRecord(Session& session, const Arguments& arguments, Progress& progress);
int RunMonitor(Session& session, Progress& progress);

/// Lists the ranges that a channel can have.
int RunRanges(Progress& progress);

// These commands need the driver's platform, so they exist only where the driver is linked in.
int RunDevices(SystemPlatform& system, const Arguments& arguments, Progress& progress);
/// Makes a platform of its own, whose only device is the captured file.
int RunConvert(const Arguments& arguments, Progress& progress);
int RunExplain(LocalSession& session, const Arguments& arguments, Progress& progress);
int RunSettings(SystemPlatform& system, const Arguments& arguments, Progress& progress);

/// Prints `text` on standard output and returns the exit code: kRefused if it could not be written.
int Print(const std::string& text, Progress& progress);

}  // namespace halden::host
