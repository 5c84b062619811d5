#pragma once

#include <string>

#include "backends/text/common_texts.h"
#include "platform/comm_config.h"
#include "platform/toolkit.h"

namespace halden {

/// Lets the user edit a port's line settings in a form, where Windows has a dialog of the system for it.
/// Returns when the user has closed the form, and serves the message queue of the toolkit's clock meanwhile.
///
/// `line` holds the current settings, and `port` is the port's name for the caption, in UTF-8. True: the user
/// confirmed, and rate, data bits, parity and stop bits in `line` are the user's choice. False: the user
/// cancelled, or the form couldn't be shown; `line` is unchanged.
bool EditPortProperties(Toolkit& toolkit, TextLanguage language, const std::string& port, Dcb* line);

}  // namespace halden
