#pragma once

namespace halden::host {

/// Whether a person sits at the other end of the stream.
bool InputIsTerminal();
bool OutputIsTerminal();
bool ErrorIsTerminal();

}  // namespace halden::host
