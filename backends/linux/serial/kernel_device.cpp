#include "backends/linux/serial/kernel_device.h"

#include <algorithm>
#include <utility>

#include "backends/linux/serial/holders.h"
#include "backends/text/code_page.h"

namespace halden {
namespace {

SerialPort TtyPortOf(const KernelPort& port, const std::filesystem::path& root, const NumberRules& rules) {
  const AnsiText ansi(rules);
  return {root / "dev" / port.tty,
          {port.type, port.id, ansi.FromUtf8(port.serial).substr(0, 16),
           ansi.FromUtf8(port.description).substr(0, 64), ComNumberOf(port.tty).value_or(-1)},
          port.latency_timer,
          root};
}

}  // namespace

KernelDevice::KernelDevice(KernelPort port, const std::filesystem::path& root,
                           std::optional<std::uint32_t> baud, const NumberRules& rules,
                           StoredLineSettings& lines)
    : SerialDevice(TtyPortOf(port, root, rules), baud),
      kernel_port_(std::move(port)),
      root_(root),
      key_(AnsiText(rules).FromUtf8(kernel_port_.serial)),
      lines_(lines) {
  Dcb line;
  if (baud && !key_.empty() && SerialDevice::GetDefaultLineSettings(&line)) lines_.Keep(key_, line);
}

bool KernelDevice::Present() const {
  return PortNow().has_value();
}

std::optional<KernelPort> KernelDevice::PortNow() const {
  auto ports = ListKernelPorts(root_);
  const auto port = std::find(ports.begin(), ports.end(), kernel_port_);
  if (port == ports.end()) return std::nullopt;
  return std::move(*port);
}

FT_STATUS KernelDevice::Open() {
  not_served_ = WhyNotServed();
  return not_served_.empty() ? SerialDevice::Open() : kDeviceFailed;
}

std::string KernelDevice::OpenFailure() const {
  return not_served_.empty() ? SerialDevice::OpenFailure() : not_served_;
}

std::string KernelDevice::WhyNotServed() const {
  const std::string place = "USB device " + kernel_port_.usb;
  const auto port = PortNow();
  if (!port) return place + ": has gone";
  if (!kernel_port_.tty.empty()) return "";
  if (kernel_port_.driver == "usbfs")
    return place + ": claimed by another program" + HolderText(port->usb_file, root_);
  if (kernel_port_.driver.empty()) return place + ": the kernel's driver ftdi_sio doesn't serve it";
  return place + ": claimed by the kernel's driver " + kernel_port_.driver;
}

bool KernelDevice::GetDefaultLineSettings(Dcb* line) {
  if (!HasDefaultLineSettings() && !key_.empty()) {
    if (const auto kept = lines_.Find(key_)) {
      *line = *kept;
      return true;
    }
  }
  return SerialDevice::GetDefaultLineSettings(line);
}

bool KernelDevice::SetDefaultLineSettings(const Dcb& line) {
  if (!key_.empty() && !lines_.Keep(key_, line)) return false;
  return SerialDevice::SetDefaultLineSettings(line);
}

std::vector<std::unique_ptr<Device>> KernelDevices::New() {
  std::vector<std::unique_ptr<Device>> devices;
  for (KernelPort& port : ListKernelPorts(root_)) {
    if (std::find(known_.begin(), known_.end(), port) != known_.end()) continue;
    known_.push_back(port);
    devices.push_back(std::make_unique<KernelDevice>(std::move(port), root_, baud_, rules_, lines_));
  }
  return devices;
}

}  // namespace halden
