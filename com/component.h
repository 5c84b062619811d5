#pragma once

#include <memory>
#include <string>

#include "model/IADC3.h"

namespace halden::com {

// What keeps the component loaded, and the drivers of its threads.

/// The component may be unloaded once every hold has been released. Any thread may call these.
void HoldComponent();
void ReleaseComponent();
bool ComponentHeld();

/// A hold for as long as the object lives.
class KeepLoaded {
 public:
  KeepLoaded() { HoldComponent(); }
  ~KeepLoaded() { ReleaseComponent(); }
  KeepLoaded(const KeepLoaded&) = delete;
  KeepLoaded& operator=(const KeepLoaded&) = delete;
};

/// Creates a driver object on the calling thread's driver, which is created with the thread's first object.
/// Null if out of memory.
std::shared_ptr<halden::IADC3> CreateDriverObject() noexcept;

/// The module handle of the component.
void* ComponentModule();
/// The path of the component's file; empty if it is 2048 characters or longer.
std::wstring ComponentPath();

/// For DllMain, when the module has been loaded and before anything above is called. False if there is no
/// memory.
bool LoadComponent(void* module) noexcept;
/// For DllMain, when the module is about to be unloaded. Not to be called at the end of the process: the DLLs
/// that the drivers need may already be unloaded.
void UnloadComponent() noexcept;

}  // namespace halden::com
