#include "sdk/detection.h"

namespace halden::sdk {

bool SomeDeviceWasSilent(const SystemPlatform& system, const ListeningTap& tap) {
  const auto devices = static_cast<std::int32_t>(system.OpenFailures().size());
  for (std::int32_t i = 0; i < devices; ++i)
    if (WhyNotRecognised(tap.At(i)) == Silence::kNothing) return true;
  return false;
}

bool Detect(SystemPlatform& system, const ListeningTap& tap, IADC3& adc, bool somebody_answers,
            const std::function<void()>& before_second) {
  system.HoldDialogBack(true);
  const bool found = adc.Test();
  system.HoldDialogBack(false);
  if (found || !adc.LastError().empty()) return found;
  if (!somebody_answers && !SomeDeviceWasSilent(system, tap)) return false;
  before_second();
  return adc.Test();
}

}  // namespace halden::sdk
