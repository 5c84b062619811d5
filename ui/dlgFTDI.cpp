#include "ui/dlgFTDI.h"

#include <string>

namespace halden {

namespace {

constexpr std::uint32_t kReadInterval = 50;  // milliseconds

}  // namespace

dlgFTDI::dlgFTDI(Store& store, Platform& platform, DriverSettings& settings)
    : store_(store),
      platform_(platform),
      settings_(settings),
      parser_(store, platform.number_rules, ReceiveBuffer::kSize),
      rate_(store, platform.clock),
      buffer_(parser_, rate_),
      tmrReadData_(platform.clock.NewTimer(kReadInterval, [this] { tmrReadData_Timer(); })),
      detection_(store, platform.comm_config, platform.clock, FTDI, buffer_, rate_, *this),
      window_(platform) {}

/// Closes the port even if the form was never unloaded, so that no tick reads a device that is being
/// destroyed.
dlgFTDI::~dlgFTDI() {
  detection_.ClosePort();
}

void dlgFTDI::Form_Load() noexcept {
  try {
    FTDI = std::make_unique<cFTDI>(platform_.d2xx, platform_.clock);
    buffer_.Load();
    window_.Load(store_.ADCState.DriverName);
  } catch (...) {
    // The wrapper is what marks the form as loaded. A half-loaded form counts as not loaded.
    FTDI.reset();
  }
}

/// The port closes first: the registry may be slow, and no tick may come meanwhile. Window and wrapper go
/// last, because saving and closing still use them.
void dlgFTDI::Form_Unload() noexcept {
  detection_.ClosePort();
  try {
    settings_.SaveSetting(user_);
  } catch (...) {  // on bad_alloc the stored settings stay as they are
  }
  window_.Unload();
  FTDI.reset();
}

bool dlgFTDI::DetectPort() noexcept {
  if (!FTDI) Form_Load();  // the first attempt had no memory
  if (!FTDI) return false;
  try {
    return detection_.DetectPort();
  } catch (...) {
    detection_.ClosePort();
    return false;
  }
}

void dlgFTDI::ShowModal() noexcept {
  try {
    window_.ShowModal();
  } catch (...) {  // without memory there is no window, and nothing else depends on it
  }
}

/// If a tick runs out of memory, its bytes stay in the buffer for the next one.
void dlgFTDI::tmrReadData_Timer() noexcept {
  try {
    Tick();
  } catch (...) {
  }
}

/// Reads what has come, learns the format if it isn't known yet, and turns the lines into values and frames.
/// The timer runs only while a port is open, so FTDI isn't null.
void dlgFTDI::Tick() {
  if (buffer_.ReadPort(*FTDI, false) <= 0) return;
  // The bytes stay in the buffer until there are enough lines to learn the format from.
  if (!store_.FormatKnown && !buffer_.AnalyzeBuffer(false)) return;
  buffer_.ParseBuffer();
  if (window_.Visible()) window_.ShowValue(buffer_.LastLine);
}

void dlgFTDI::ShowPortInfo() {
  window_.ShowInfo("Port: COM" + std::to_string(store_.BasePort) + "\r\n" + store_.DeviceName + "  " +
                   store_.DeviceSerial);
}

bool dlgFTDI::GetUserPort(std::int16_t& row) {
  if (!dlgPort_) dlgPort_ = std::make_unique<dlgPort>(store_, platform_);
  return dlgPort_->GetUserPort(row, user_.UserChannels, user_.UserRate);
}

}  // namespace halden
