#pragma once

#include "host/arguments.h"
#include "host/output.h"
#include "host/progress.h"
#include "platform/machine.h"

namespace halden::host {

/// Exit codes.
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongArguments = 2;

/// Builds the machine and runs the command on it.
int RunCommand(const Arguments& arguments, Progress& progress);

/// Each runs one command to its end and gives the exit code.
int RunDevices(Machine& machine, const Arguments& arguments, Progress& progress);
int RunWatch(Machine& machine, const Arguments& arguments, Progress& progress);
int RunRecord(Machine& machine, const Arguments& arguments, Progress& progress);
int RunMonitor(Machine& machine, const Arguments& arguments, Progress& progress);
int RunSettings(Machine& machine, const Arguments& arguments, Progress& progress);

/// Prints `text` and gives the exit code that follows from whether it arrived.
int Print(const std::string& text, Progress& progress);

}  // namespace halden::host
