#pragma once

#include <memory>

#include "link/cFTDI.h"
#include "link/port_detection.h"
#include "model/store.h"
#include "platform/platform.h"
#include "settings/driver_settings.h"
#include "stream/line_parser.h"
#include "stream/rate_meter.h"
#include "stream/receive_buffer.h"
#include "ui/dlgPort.h"
#include "ui/monitor_window.h"

namespace halden {

/// The form that holds the running parts of the acquisition: the device, the receive buffer and the timer
/// that reads it. Its members outlive its unloading. Loaded and hidden with the first driver object, unloaded
/// with the last; it does its work whether or not its window is ever shown. Only the constructor throws,
/// for lack of memory.
class dlgFTDI final : private DetectionForm {
 public:
  /// All of them must outlive the form.
  dlgFTDI(Store& store, Platform& platform, DriverSettings& settings);
  ~dlgFTDI() override;

  /// Makes the device wrapper, which takes its snapshot of the device list, the receive buffer and the
  /// window. Touches no device. Without memory for them the form stays unloaded and does nothing until
  /// DetectPort tries again.
  void Form_Load() noexcept;
  /// Closes the port, then saves the settings. Not inside DetectPort or ShowModal.
  void Form_Unload() noexcept;

  bool DetectPort() noexcept;
  /// Returns when the user has closed the window; at once where it can't be shown or is shown already.
  void ShowModal() noexcept;

  /// Line rate of the port in use, bits per second; 0 before a detection.
  std::int32_t BaudRate() const { return detection_.BaudRate; }
  /// Whether Rate follows the lines. It doesn't after a detection by the user.
  bool AutoRate() const { return rate_.AutoRate; }

 private:
  void tmrReadData_Timer() noexcept;
  void Tick();

  void ShowPortInfo() override;
  void EnableReadTimer(bool on) noexcept override { tmrReadData_->Enable(on); }
  void LoadSetting() override { settings_.LoadSetting(user_); }
  bool GetUserPort(std::int16_t& row) override;
  std::int16_t UserChannels() const override { return user_.UserChannels; }
  float UserRate() const override { return user_.UserRate; }

  Store& store_;
  Platform& platform_;
  DriverSettings& settings_;
  tUserChoice user_;
  std::unique_ptr<cFTDI> FTDI;  // made anew at each load; null: not loaded, or no memory for it
  LineParser parser_;
  RateMeter rate_;
  ReceiveBuffer buffer_;
  std::unique_ptr<PeriodicTimer> tmrReadData_;
  PortDetection detection_;
  MonitorWindow window_;
  std::unique_ptr<dlgPort> dlgPort_;  // made when the user has to be asked
};

}  // namespace halden
