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

/// What detection needs of the form that it runs for.
class DetectionForm {
 public:
  virtual ~DetectionForm() = default;
  /// Shows which port and device are in use.
  virtual void ShowPortInfo() = 0;
  virtual void EnableReadTimer(bool on) noexcept = 0;
  /// Fills BasePort and the user's channels and rate from the stored settings.
  virtual void LoadSetting() = 0;
  /// Asks the user for a row of the port table, preset to `row`, and for channels and rate. False: cancelled,
  /// and nothing has changed.
  virtual bool GetUserPort(std::int16_t& row) = 0;
  virtual std::int16_t UserChannels() const = 0;
  virtual float UserRate() const = 0;
};

/// Finds the device, opens it and closes it. Nothing is ever written to a device: it only gets DTR and RTS
/// raised. All but ClosePort need a loaded form and may throw std::bad_alloc; the port is then to be closed.
class PortDetection {
 public:
  /// `device` is the form's own pointer, null while the form is not loaded.
  PortDetection(Store& store, CommConfigApi& comm_config, Clock& clock, const std::unique_ptr<cFTDI>& device,
                ReceiveBuffer& buffer, RateMeter& rate, DetectionForm& form);

  /// Listens to each listed device in turn and keeps the first that sends lines of numbers; asks the user if
  /// none does. True: a port is open, the channels are counted and the read timer runs. False otherwise, and
  /// at once when called from inside a running detection, which serves the message queue.
  bool DetectPort();
  /// Leaves the link closed from any state.
  void ClosePort() noexcept;

  std::int32_t BaudRate = 0;  ///< line rate of the port in hand, bits per second

 private:
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
