#pragma once

/// Switches a terminal between the shell's use and ours, on signals too. There is one state in the process,
/// because that is all that a signal handler can find.
namespace halden::terminal_guard {

/// Takes over the terminal behind `fd`. False: another one is held, or it is no terminal.
bool Take(int fd);
/// Gives it back and restores the signals' handlers.
void Release();

/// A signal has told the process to end, and the process lives on: whoever handles it wants it so. The
/// terminal has been given back already.
bool EndRequested();
/// Whether the process was stopped and went on since the last call.
bool TakeResumed();

}  // namespace halden::terminal_guard
