#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>

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

/// Whether writing to `file` may have to wait for whoever reads it: a pipe or a terminal.
bool ReaderMayBeSlow(std::FILE* file);
/// Waits until `file`, for which ReaderMayBeSlow is true, takes 4096 bytes at once, or has no reader any
/// more. False if the time is over, or a signal has come.
bool CanWriteWithin(std::FILE* file, std::chrono::milliseconds time);

/// Makes what was written to the file survive a power failure. False if it can't; true for what is no file.
bool SyncFile(std::FILE* file);
/// Takes the last `bytes` before the place where the unbuffered `file` is written away, and all that follow.
/// False if it is no file.
bool CutFile(std::FILE* file, std::uint64_t bytes);

/// Whether the write that has just failed did so because the pipe's reader has gone. Looks at errno.
bool ReaderHasLeft();

/// What EndOnStopSignals does first, in the signal handler: it must be async-signal-safe. `owner` is passed
/// to `put_back`, and must live as long as such a signal may come.
void SetPutBack(void (*put_back)(void* owner) noexcept, void* owner);
/// From here on Ctrl-C, a hang-up of the terminal or a request to terminate ends the process at once, with
/// exit code 128 + the signal's number.
void EndOnStopSignals();

/// From here on the first Ctrl-C, hang-up of the terminal or request to terminate only makes StopRequested
/// true. The second one ends the program.
void CatchStopSignals();
bool StopRequested();

}  // namespace halden::host
