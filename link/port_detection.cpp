#include "link/port_detection.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "link/port_table.h"
#include "model/ranges.h"

namespace halden {

namespace {

constexpr std::int16_t kProofBytes = 3;        // a device that sends these speaks
constexpr std::int16_t kAnalysisBytes = 1024;  // wanted for the analysis
constexpr std::int32_t kListenTime = 2000;     // milliseconds for each of the two
constexpr std::int32_t kLatency = 5;           // milliseconds
constexpr double kBitsPerByte = 8;
constexpr double kUserLineLength = 4;  // bytes, where no line has been heard
constexpr float kLeastRateMax = 1;

float LinesPerSecond(std::int32_t baud, double line_length) {
  return static_cast<float>(std::trunc(baud / kBitsPerByte / line_length));
}

/// The configured line rate; one beyond 32 bits with a sign is none that a chip has.
std::int32_t RateOf(const tPortInfo& row) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(row.Config.dcb.BaudRate, kMost));
}

/// The rate that a chip may really talk at where its port says otherwise; 0 if there is none.
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
  if (detecting_) return false;
  ScopedFlag detecting(detecting_);
  SetChannelsCount(store_, 0);
  ClosePort();
  const std::int32_t count = device_->ListCount();
  if (count < 1) {
    store_.ADCState.LastError = "No FTDI ports found!";
    return false;
  }
  store_.PortTable.assign(count, tPortInfo());
  store_.PortCount = static_cast<std::int16_t>(count);
  for (std::int16_t i = 0; i < store_.PortCount; ++i)
    if (ProbePort(i)) return DetectByListening(i);
  return DetectByUser();
}

void PortDetection::ClosePort() noexcept {
  form_.EnableReadTimer(false);
  if (device_ && device_->IsOpen()) device_->Close();
  buffer_.Clear();
}

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

/// Nothing has been heard from any device: the user's word stands, also for the rate.
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

bool PortDetection::ProbePort(std::int16_t index) {
  if (!OpenPort(index)) return false;
  BaudRate = RateOf(store_.PortTable[index]);
  Heard heard = Listen();
  while (heard == Heard::kNoise && RaiseBaudRate()) heard = Listen();
  if (heard != Heard::kLines) ClosePort();
  return heard == Heard::kLines;
}

PortDetection::Heard PortDetection::Listen() {
  if (!device_->WaitForRx(kProofBytes, kListenTime)) return Heard::kNothing;
  device_->WaitForRx(kAnalysisBytes, kListenTime);  // only to give the queue time to fill
  if (buffer_.ReadPort(*device_, true) < kProofBytes) return Heard::kNothing;
  return buffer_.AnalyzeBuffer(true) ? Heard::kLines : Heard::kNoise;
}

/// The row of the port table keeps the configured rate.
bool PortDetection::RaiseBaudRate() {
  const std::int32_t raised = ActualBaudFor(BaudRate);
  if (raised == 0) return false;
  BaudRate = raised;
  device_->SetBaudRate(raised);
  device_->Purge();
  return true;
}

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

bool PortDetection::SetUpPort(std::int16_t index) {
  if (index < 0 || index >= store_.PortCount) return false;
  cFTDI& device = *device_;
  tPortInfo& row = store_.PortTable[index];
  NamePort(row, device.ComPortNumber());
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

void PortDetection::TakePort(std::int16_t index) {
  store_.BasePort = store_.PortTable[index].Number;
  store_.DeviceName = device_->DeviceTypeName();
  store_.DeviceSerial = device_->DeviceSerialNumber();
  form_.ShowPortInfo();
}

}  // namespace halden
