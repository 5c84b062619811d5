#include "com/component.h"

#include <atomic>
#include <new>

#include "com/thread_drivers.h"

namespace halden::com {
namespace {

void* module_handle = nullptr;
std::atomic<long> holds = 0;
ThreadDrivers* drivers = nullptr;

}  // namespace

void HoldComponent() {
  ++holds;
}

void ReleaseComponent() {
  --holds;
}

bool ComponentHeld() {
  return holds > 0;
}

std::shared_ptr<halden::IADC3> CreateDriverObject() noexcept {
  try {
    struct Held {  // the object goes before its driver
      std::shared_ptr<Driver> driver;
      std::shared_ptr<halden::IADC3> adc;
    };
    const auto held = std::make_shared<Held>();
    held->driver = drivers->OfCallingThread();
    held->adc = held->driver->CreateObject();
    return {held, held->adc.get()};
  } catch (...) {
    return nullptr;
  }
}

void* ComponentModule() {
  return module_handle;
}

bool LoadComponent(void* module) noexcept {
  module_handle = module;
  drivers = new (std::nothrow) ThreadDrivers(module);
  return drivers != nullptr;
}

void UnloadComponent() noexcept {
  delete drivers;
}

}  // namespace halden::com
