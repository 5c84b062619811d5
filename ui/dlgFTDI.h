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

/// The form that runs the acquisition. It owns the device, the receive buffer and the timer that reads the
/// device into it. It is loaded, hidden, with the first driver object and unloaded with the last one, and
/// works whether or not its window is ever shown. Its members, and so the user's choice, survive unloading.
/// Only the constructor throws (std::bad_alloc).
class dlgFTDI final : private DetectionForm {
 public:
  /// All arguments must outlive the form.
  dlgFTDI(Store& store, Platform& platform, DriverSettings& settings);
  ~dlgFTDI() override;

  /// Makes the device wrapper, which takes a snapshot of the device list, then the receive buffer and the
  /// window. Doesn't touch a device. On bad_alloc the form stays unloaded; DetectPort tries again.
  void Form_Load() noexcept;
  /// Closes the port, then saves the settings. Must not be called inside DetectPort or ShowModal.
  void Form_Unload() noexcept;

  /// See PortDetection::DetectPort. Loads the form first if that has failed before. False, with the port
  /// closed, if there is no memory.
  bool DetectPort() noexcept;
  /// Shows the window and returns when the user has closed it. Returns immediately if it can't be shown or is
  /// shown already. Serves the message queue, so acquisition goes on.
  void ShowModal() noexcept;

  /// Line rate of the port in use, bits per second; 0 before the first detection.
  std::int32_t BaudRate() const { return detection_.BaudRate; }
  /// Whether Rate is measured from the lines. Becomes true when a detection recognises a device by its lines,
  /// and stays true: if the user names the device in a later detection, Rate starts at the rate entered but
  /// is still updated from the lines.
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
  std::unique_ptr<cFTDI> FTDI;  // made at each load; null: not loaded, or there was no memory
  LineParser parser_;
  RateMeter rate_;
  ReceiveBuffer buffer_;
  std::unique_ptr<PeriodicTimer> tmrReadData_;
  PortDetection detection_;
  MonitorWindow window_;
  std::unique_ptr<dlgPort> dlgPort_;  // made the first time that the user has to be asked
};

}  // namespace halden
