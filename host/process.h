#pragma once

// The program's surroundings: its standard streams, the terminal, and signals.

namespace halden::host {

/// Opens something useless on each standard stream that is closed. Otherwise the next file or device to be
/// opened would get that stream's number, and receive everything that is written to the stream.
void FillClosedStreams();

bool OutputIsTerminal();
bool ErrorIsTerminal();

/// Height in rows of the terminal on standard output; 0 if it is none or doesn't say.
int OutputRows();

/// From here on writing to a pipe that nobody reads, or beyond the file size that the process is allowed,
/// fails instead of ending the program.
void LetWritesFail();

/// Whether the write that has just failed did so because the pipe's reader has gone. Looks at errno.
bool ReaderHasLeft();

/// From here on Ctrl-C, a hang-up of the terminal or a request to terminate ends the process at once, with
/// exit code 128 + the signal's number. `put_back` is called first, with `owner`, in the signal handler: it
/// must be async-signal-safe, and `owner` must live until CatchStopSignals is called or the process ends.
void EndOnStopSignals(void (*put_back)(void* owner) noexcept, void* owner);

/// From here on the first Ctrl-C, hang-up of the terminal or request to terminate only makes StopRequested
/// true. The second one ends the program.
void CatchStopSignals();
bool StopRequested();

}  // namespace halden::host
