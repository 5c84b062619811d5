#pragma once

#include "model/mPortText.h"
#include "model/mTypes3.h"

namespace halden {

/// All state of one driver. Driver objects are faces on it and hold nothing of their own; it outlives them.
struct Store : mTypes3, mPortText {};

}  // namespace halden
