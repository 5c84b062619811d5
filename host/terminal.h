#pragma once

namespace halden::host {

/// Puts something useless in the place of each standard stream that is closed: else the next file or device
/// to be opened would get its number, and all that is written to the stream.
void FillClosedStreams();

/// Whether a person sits at the other end of the stream.
bool OutputIsTerminal();
bool ErrorIsTerminal();

/// Height of the terminal on standard output; 0 where it tells none.
int OutputRows();

/// Whether the write that has just failed did so because nobody reads the pipe any more.
bool ReaderHasLeft();

}  // namespace halden::host
