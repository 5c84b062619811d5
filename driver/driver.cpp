#include "driver/driver.h"

#include "model/Halden_Text.h"
#include "model/store.h"
#include "settings/driver_settings.h"
#include "ui/dlgFTDI.h"

namespace halden {

/// The order of the members matters: the form and the settings refer to the store, so they are made after it
/// and destroyed before it.
struct Driver::Parts final : DriverServices {
  explicit Parts(Platform& with)
      : platform(with), settings(store, with.registry, with.texts), form(store, with, settings) {}

  void InitSettingsKey(const std::string& name) override { settings.InitSettingsKey(name); }
  void LoadForm() noexcept override { form.Form_Load(); }
  void UnloadForm() noexcept override { form.Form_Unload(); }
  bool DetectPort() noexcept override { return form.DetectPort(); }
  void ShowForm() noexcept override { form.ShowModal(); }

  Platform& platform;
  Store store;
  DriverSettings settings;
  dlgFTDI form;
};

Driver::Driver(Platform& platform) : parts_(std::make_unique<Parts>(platform)) {}

Driver::~Driver() = default;

std::shared_ptr<IADC3> Driver::CreateObject() noexcept {
  try {
    return std::make_shared<Halden_Text>(parts_->store, parts_->platform, *parts_);
  } catch (...) {
    return nullptr;
  }
}

void Driver::WaitForMessages(std::uint32_t at_most_ms) noexcept {
  parts_->platform.clock.WaitForMessages(at_most_ms);
}

LinkState Driver::Link() const noexcept {
  const Store& store = parts_->store;
  return {.format = {.separator = store.Separator.empty() ? '\0' : store.Separator[0],
                     .columns = store.ColumnsCount,
                     .channels = store.ADCState.ChannelsCount},
          .baud = parts_->form.BaudRate(),
          .auto_rate = parts_->form.AutoRate()};
}

void Driver::ServeMessages() noexcept {
  parts_->platform.clock.ServeMessages();
}

}  // namespace halden
