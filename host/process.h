#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>

// The program's surroundings: its standard streams, the terminal, and signals.

namespace halden::host {

/// Opens a placeholder for each standard stream that is closed. Otherwise the next file or device to be
/// opened would get that stream's number, and receive everything that is written to the stream.
void FillClosedStreams();

bool OutputIsTerminal();
bool ErrorIsTerminal();

/// Rows of the terminal on standard output; 0 if it isn't a terminal or doesn't know.
int OutputRows();

/// From now on, writing to a pipe without a reader, or beyond the process's file size limit, fails instead of
/// ending the program.
void LetWritesFail();

/// Whether writing to `file` may have to wait for a reader: it is a pipe or a terminal.
bool ReaderMayBeSlow(std::FILE* file);
/// For a file for which ReaderMayBeSlow is true: waits until 4096 bytes can be written without blocking, or
/// the reader is gone. False after `time`, or if a signal arrived.
bool CanWriteWithin(std::FILE* file, std::chrono::milliseconds time);

/// Forces what was written to the disk. False on failure; true for a pipe or device, where it does nothing.
bool SyncFile(std::FILE* file);
/// Truncates the unbuffered `file` to `bytes` before its current position. False on failure or if it isn't a
/// regular file.
bool CutFile(std::FILE* file, std::uint64_t bytes);

/// Whether the write that just failed did so because the pipe's reader is gone. Reads errno.
bool ReaderHasLeft();

/// Sets what EndOnStopSignals calls in the signal handler before the process ends. `put_back` must be
/// async-signal-safe; `owner` is passed to it and must stay valid.
void SetPutBack(void (*put_back)(void* owner) noexcept, void* owner);
/// From now on Ctrl-C (SIGINT), SIGHUP and SIGTERM end the process immediately with exit code 128 + signal.
void EndOnStopSignals();

/// From now on the first of these signals only makes StopRequested true. The second one ends the program.
void CatchStopSignals();
bool StopRequested();

}  // namespace halden::host
