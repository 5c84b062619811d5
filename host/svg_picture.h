#pragma once

#include <string>
#include <vector>

#include "host/csv_writer.h"
#include "host/trace.h"

namespace halden::host {

/// Writes a picture of the recording that stands alone in a browser: a trace a channel over seconds, with
/// axes, grid and legend. `title` holds no character of markup.
void WriteSvg(const std::string& title, const Trace& trace, const std::vector<Column>& columns,
              double seconds, Output& output);

}  // namespace halden::host
