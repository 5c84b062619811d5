#pragma once

#include <string>

#include "backends/text/common_texts.h"
#include "platform/comm_config.h"
#include "platform/toolkit.h"

namespace halden {

/// Lets the user change a port's rate, data bits, parity and stop bits in a form of the toolkit. True: the
/// user confirmed, and `line` holds the choice. False: cancelled, or the form can't be shown; `line` is as it
/// was.
bool EditPortProperties(Toolkit& toolkit, TextLanguage language, const std::string& port, Dcb* line);

}  // namespace halden
