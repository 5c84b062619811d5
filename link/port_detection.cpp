#include "link/port_detection.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "link/port_table.h"
#include "model/ranges.h"

namespace halden {

namespace {

constexpr std::int16_t kProofBytes = 3;        // enough to show that the device sends anything at all
constexpr std::int16_t kAnalysisBytes = 1024;  // enough lines to learn the format from
constexpr std::int32_t kListenTime = 2000;     // milliseconds, for each of the two waits
// Milliseconds. The chip's default of 16 would deliver the lines of a fast device in bursts.
constexpr std::int32_t kLatency = 5;
constexpr double kBitsPerByte = 8;
constexpr double kUserLineLength = 4;  // bytes; the shortest useful line, as in "12\r\n"
constexpr float kLeastRateMax = 1;     // hertz; a slow line rate with long lines would give 0

/// How many lines of this length (bytes, with their ends) fit into a second, in whole lines.
float LinesPerSecond(std::int32_t baud, double line_length) {
  return static_cast<float>(std::trunc(baud / kBitsPerByte / line_length));
}

/// The configured line rate in bits per second. Clamped to INT32_MAX: no chip runs that fast.
std::int32_t RateOf(const tPortInfo& row) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(row.Config.dcb.BaudRate, kMost));
}

/// Some devices run at a round rate of their own while their port is configured for the standard rate next to
/// it. Returns that rate for a configured one, in bits per second; 0 if there is none.
std::int32_t ActualBaudFor(std::int32_t baud) {
  switch (baud) {
    case 230400:
      return 250000;
    case 460800:
      return 500000;
    case 921600:
      return 1000000;
    case 1843200:
      return 2000000;
    default:
      return 0;
  }
}

/// Sets a flag for as long as it lives.
class ScopedFlag {
 public:
  explicit ScopedFlag(bool& flag) : flag_(flag) { flag_ = true; }
  ~ScopedFlag() { flag_ = false; }
  ScopedFlag(const ScopedFlag&) = delete;
  ScopedFlag& operator=(const ScopedFlag&) = delete;

 private:
  bool& flag_;
};

}  // namespace

PortDetection::PortDetection(Store& store, CommConfigApi& comm_config, Clock& clock,
                             const std::unique_ptr<cFTDI>& device, ReceiveBuffer& buffer, RateMeter& rate,
                             DetectionForm& form)
    : store_(store),
      comm_config_(comm_config),
      clock_(clock),
      device_(device),
      buffer_(buffer),
      rate_(rate),
      form_(form) {}

bool PortDetection::DetectPort() {
  // Listening and the dialog serve the message queue, from which the host may call again.
  if (detecting_) return false;
  ScopedFlag detecting(detecting_);
  // The state of an earlier detection goes first, so that a failure leaves nothing of it.
  SetChannelsCount(store_, 0);
  ClosePort();
  const std::int32_t count = device_->ListCount();
  if (count < 1) {
    store_.ADCState.LastError = "No FTDI ports found!";
    return false;
  }
  store_.PortTable.assign(count, tPortInfo());
  store_.PortCount = static_cast<std::int16_t>(count);
  // Listening comes first: it asks no questions, and it measures what a user would have to guess.
  for (std::int16_t i = 0; i < store_.PortCount; ++i)
    if (ProbePort(i)) return DetectByListening(i);
  return DetectByUser();
}

void PortDetection::ClosePort() noexcept {
  // The timer stops before the device closes, because a tick reads from it.
  form_.EnableReadTimer(false);
  if (device_ && device_->IsOpen()) device_->Close();
  buffer_.Clear();
}

/// The port at `index` is open and the buffer has analysed its lines. The timer is last: its first tick may
/// come as soon as the queue is served, and needs the channels and the rate.
bool PortDetection::DetectByListening(std::int16_t index) {
  TakePort(index);
  SetChannelsCount(store_, buffer_.MaxColumns);
  tInputState& input = store_.InputState;
  input.RateMax = std::max(LinesPerSecond(BaudRate, buffer_.MeanLineLength), kLeastRateMax);
  input.Rate = input.RateMax;
  rate_.Start();
  form_.EnableReadTimer(true);
  return true;
}

/// No device sent anything that could be recognised, so the user chooses the port, the channels and the rate.
/// The rate isn't measured afterwards, unless an earlier detection has started the rate meter. Settings are
/// loaded before the dialog, which shows them as presets; the port is opened after it, because until then
/// nothing says which one.
bool PortDetection::DetectByUser() {
  form_.LoadSetting();
  std::int16_t row = FindPort(store_, store_.BasePort);
  if (!form_.GetUserPort(row) || !OpenPort(row)) return false;
  BaudRate = RateOf(store_.PortTable[row]);
  TakePort(row);
  SetChannelsCount(store_, form_.UserChannels());
  tInputState& input = store_.InputState;
  input.RateMax = LinesPerSecond(BaudRate, kUserLineLength);
  input.Rate = std::min(form_.UserRate(), input.RateMax);
  form_.EnableReadTimer(true);
  return true;
}

/// Opens the port and listens, first at its configured rate, then at the one that its chip may really use.
/// Leaves the port open only if lines of numbers came.
bool PortDetection::ProbePort(std::int16_t index) {
  if (!OpenPort(index)) return false;
  BaudRate = RateOf(store_.PortTable[index]);
  Heard heard = Listen();
  while (heard == Heard::kNoise && RaiseBaudRate()) heard = Listen();
  if (heard != Heard::kLines) ClosePort();
  return heard == Heard::kLines;
}

/// Noise is worth another try at another rate; silence isn't, because a wrong rate garbles bytes but doesn't
/// swallow them.
PortDetection::Heard PortDetection::Listen() {
  if (!device_->WaitForRx(kProofBytes, kListenTime)) return Heard::kNothing;
  // The result doesn't matter: a slow device is analysed by the lines that it has sent in this time.
  device_->WaitForRx(kAnalysisBytes, kListenTime);
  if (buffer_.ReadPort(*device_, true) < kProofBytes) return Heard::kNothing;
  return buffer_.AnalyzeBuffer(true) ? Heard::kLines : Heard::kNoise;
}

/// Changes the rate of the open device only: the row of the port table keeps the configured one. What was
/// received at the old rate is garbled, so it is dropped.
bool PortDetection::RaiseBaudRate() {
  const std::int32_t raised = ActualBaudFor(BaudRate);
  if (raised == 0) return false;
  BaudRate = raised;
  device_->SetBaudRate(raised);
  device_->Purge();
  return true;
}

/// Leaves the port either open and set up, or closed.
bool PortDetection::OpenPort(std::int16_t index) {
  bool open = false;
  try {
    open = device_->Open(index) && SetUpPort(index);
  } catch (...) {
    open = false;
  }
  if (!open) ClosePort();
  return open;
}

/// The order matters. Only the open device can say its COM number, and the line settings are found by that
/// number. Bytes received before the settings applied are garbled; the pass of the message queue gives them
/// time to arrive, and the purge drops them. DTR and RTS come last, because they may start a board's
/// transmission.
bool PortDetection::SetUpPort(std::int16_t index) {
  if (index < 0 || index >= store_.PortCount) return false;
  cFTDI& device = *device_;
  tPortInfo& row = store_.PortTable[index];
  NamePort(row, device.ComPortNumber());
  // The fallback must not be applied: the device may have been set up by other means.
  if (GetPortConfig(comm_config_, row)) {
    const Dcb& line = row.Config.dcb;
    device.SetLine(RateOf(row), line.ByteSize, line.Parity, line.StopBits);
  }
  device.SetLatency(kLatency);
  clock_.ServeMessages();
  device.Purge();
  device.SetDTR(true);
  device.SetRTS(true);
  return true;
}

/// Publishes the open port as the one in use.
void PortDetection::TakePort(std::int16_t index) {
  store_.BasePort = store_.PortTable[index].Number;
  store_.DeviceName = device_->DeviceTypeName();
  store_.DeviceSerial = device_->DeviceSerialNumber();
  form_.ShowPortInfo();
}

}  // namespace halden
