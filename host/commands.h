#pragma once

#include "backends/system_platform.h"
#include "host/arguments.h"
#include "host/progress.h"
#include "host/session.h"

namespace halden::host {

/// Exit codes.
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongArguments = 2;

/// Runs what the command line asks for in the way of this system, and gives the exit code.
int RunCommand(const Arguments& arguments, Progress& progress);

// Each runs one command to its end and gives the exit code. These use what every host has ...
int RunWatch(Session& session, const Arguments& arguments, Progress& progress);
int RunRecord(Session& session, const Arguments& arguments, Progress& progress);
int RunMonitor(Session& session, Progress& progress);
// ... and these what only a program has that is linked to the driver.
int RunDevices(SystemPlatform& machine, const Arguments& arguments, Progress& progress);
int RunSettings(SystemPlatform& machine, const Arguments& arguments, Progress& progress);

/// Prints `text` and gives the exit code that follows from whether it arrived.
int Print(const std::string& text, Progress& progress);

}  // namespace halden::host
