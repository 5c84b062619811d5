#pragma once

#include <memory>

#include "model/IADC3.h"

namespace halden::com {

/// The component may be unloaded when every hold has been released. Any thread may call.
void HoldComponent();
void ReleaseComponent();
bool ComponentHeld();

/// Holds the component as long as it lives.
class KeepLoaded {
 public:
  KeepLoaded() { HoldComponent(); }
  ~KeepLoaded() { ReleaseComponent(); }
  KeepLoaded(const KeepLoaded&) = delete;
  KeepLoaded& operator=(const KeepLoaded&) = delete;
};

/// A new object of the calling thread's driver. Null without memory for it.
std::shared_ptr<halden::IADC3> CreateDriverObject() noexcept;

/// The handle of the module.
void* ComponentModule();

/// The system has loaded the module; false without memory for it. Nothing above may be called before.
bool LoadComponent(void* module) noexcept;
/// The system unloads the module while the process lives on. At the end of the process this isn't called:
/// what the end of the drivers would call may have gone by then.
void UnloadComponent() noexcept;

}  // namespace halden::com
