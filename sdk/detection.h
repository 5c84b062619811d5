#pragma once

#include <functional>

#include "backends/system_platform.h"
#include "model/IADC3.h"
#include "sdk/heard.h"

namespace halden::sdk {

/// Whether the last detection opened a device that sent nothing: it may be restarting and send later.
bool SomeDeviceWasSilent(const SystemPlatform& system, const ListeningTap& tap);

/// Calls Test of `adc`, whose driver uses `tap` over the devices of `system`, and once more if nothing was
/// found. A board that restarts when its port is opened may stay silent for longer than the driver listens.
/// Opening the port again doesn't restart it again, so a second detection will hear it. Only then may the
/// port dialog appear.
///
/// The second detection is left out if no device was silent, unless somebody will answer the dialog.
/// `before_second` is called before it.
bool Detect(SystemPlatform& system, const ListeningTap& tap, IADC3& adc, bool somebody_answers,
            const std::function<void()>& before_second);

}  // namespace halden::sdk
