#pragma once

#include <cstdint>
#include <memory>

#include "link/cFTDI.h"
#include "model/store.h"
#include "platform/clock.h"
#include "platform/comm_config.h"
#include "stream/rate_meter.h"
#include "stream/receive_buffer.h"

namespace halden {

/// What detection needs from the form that it runs for. Calls may throw std::bad_alloc unless declared
/// noexcept.
class DetectionForm {
 public:
  virtual ~DetectionForm() = default;
  /// Shows the port and the device that the store names.
  virtual void ShowPortInfo() = 0;
  /// Starts or stops the ticks that read the device.
  virtual void EnableReadTimer(bool on) noexcept = 0;
  /// Fills the store's BasePort and the user's channels and rate from the stored settings.
  virtual void LoadSetting() = 0;
  /// Asks the user for a row of the port table (preset: `row`; -1: none), for channels and for a rate. False
  /// if the user cancelled; nothing has changed then.
  virtual bool GetUserPort(std::int16_t& row) = 0;
  virtual std::int16_t UserChannels() const = 0;  ///< 1 to 32 after LoadSetting
  virtual float UserRate() const = 0;             ///< hertz; 0: not known
};

/// Finds, opens and closes the device. Never writes to a device; it only raises DTR and RTS. DetectPort needs
/// a loaded form and may throw std::bad_alloc; the caller must then call ClosePort.
class PortDetection {
 public:
  /// All arguments must outlive the object. `device` is the form's own pointer, null while the form isn't
  /// loaded.
  PortDetection(Store& store, CommConfigApi& comm_config, Clock& clock, const std::unique_ptr<cFTDI>& device,
                ReceiveBuffer& buffer, RateMeter& rate, DetectionForm& form);

  /// Listens to each listed device in turn and keeps the first that sends lines of numbers. Asks the user if
  /// none does. True: a port is open, the number of channels is known and the read timer runs. False: the
  /// port is closed, and LastError says so if no device is listed. Serves the message queue; a call from
  /// inside a running detection returns false and changes nothing.
  bool DetectPort();
  /// Stops the read timer, closes the device and empties the receive buffer. May be called in any state.
  void ClosePort() noexcept;

  std::int32_t BaudRate = 0;  ///< line rate of the port opened last, bits per second; 0: none yet

 private:
  /// Noise: bytes that don't form lines of numbers.
  enum class Heard { kNothing, kNoise, kLines };

  bool DetectByListening(std::int16_t index);
  bool DetectByUser();
  bool ProbePort(std::int16_t index);
  Heard Listen();
  bool RaiseBaudRate();
  bool OpenPort(std::int16_t index);
  bool SetUpPort(std::int16_t index);
  void TakePort(std::int16_t index);

  Store& store_;
  CommConfigApi& comm_config_;
  Clock& clock_;
  const std::unique_ptr<cFTDI>& device_;
  ReceiveBuffer& buffer_;
  RateMeter& rate_;
  DetectionForm& form_;
  bool detecting_ = false;
};

}  // namespace halden
