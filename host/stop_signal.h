#pragma once

namespace halden::host {

/// From here on Ctrl-C, a terminal that closes and a request to terminate only make StopRequested true; a
/// second one ends the program.
void CatchStopSignals();
bool StopRequested();

/// From here on a pipe that closes is an error of writing, not the end of the program.
void IgnoreClosedPipes();

}  // namespace halden::host
