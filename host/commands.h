#pragma once

#include "backends/system_platform.h"
#include "host/arguments.h"
#include "host/progress.h"
#include "host/session.h"

namespace halden::host {

class LocalSession;

/// Exit codes. kDone includes a reader of standard output that has left; kRefused includes an output that
/// can't be written.
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongArguments = 2;

/// Runs the command and returns the exit code. Each system has its own: how a host reaches the driver
/// differs.
int RunCommand(const Arguments& arguments, Progress& progress);

// The commands below need no more than the host's contract. Each returns the exit code.
int RunWatch(Session& session, const Arguments& arguments, Progress& progress);
int RunRecord(Session& session, const Arguments& arguments, Progress& progress);
int RunMonitor(Session& session, Progress& progress);

/// Lists the ranges that a channel can have.
int RunRanges(Progress& progress);

// These look into the driver's platform, so only a program that the driver is linked to has them.
int RunDevices(SystemPlatform& machine, const Arguments& arguments, Progress& progress);
/// Needs no device, and so no platform.
int RunConvert(const Arguments& arguments, Progress& progress);
int RunExplain(LocalSession& session, const Arguments& arguments, Progress& progress);
int RunSettings(SystemPlatform& machine, const Arguments& arguments, Progress& progress);

/// Prints `text` on standard output and returns the exit code: kRefused if it could not be written.
int Print(const std::string& text, Progress& progress);

}  // namespace halden::host
