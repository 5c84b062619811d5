#include "backends/linux/serial/kernel_device.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <map>
#include <system_error>
#include <utility>

#include "backends/text/code_page.h"

namespace halden {
namespace {

namespace fs = std::filesystem;

// How sysfs shows a chip: the device (usb) has a folder for each of its interfaces, and an interface that
// ftdi_sio serves has one for its tty. Links lead there from two lists:
//
//   sys/bus/usb/devices/1-2:1.0        -> .../1-2/1-2:1.0           every interface
//   sys/bus/usb-serial/devices/ttyUSB0 -> .../1-2/1-2:1.0/ttyUSB0   those that a serial driver serves
//
//   .../1-2                  bcdDevice, idVendor, idProduct, product, serial, bNumInterfaces, busnum, devnum
//   .../1-2/1-2:1.0          bInterfaceNumber, driver -> .../ftdi_sio
//   .../1-2/1-2:1.0/ttyUSB0  latency_timer, driver -> .../ftdi_sio

constexpr char kSerialDriver[] = "ftdi_sio";

std::string ReadAttribute(const fs::path& directory, const char* name) {
  std::string text;
  std::getline(std::ifstream(directory / name), text);
  return text;
}

/// 0 if there is no such number. The kernel pads some with blanks on the left (bNumInterfaces).
std::uint32_t ReadNumber(const fs::path& directory, const char* name, int base) {
  std::string text = ReadAttribute(directory, name);
  text.erase(0, text.find_first_not_of(' '));
  std::uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

/// The last part of what a link points to. Empty if there is no link: the device has no driver, or has just
/// been unplugged.
std::string LinkName(const fs::path& link) {
  std::error_code error;
  return fs::read_symlink(link, error).filename();
}

/// The real paths of a directory's entries, without those that vanish during the call.
std::vector<fs::path> ResolvedEntries(const fs::path& directory) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const fs::path real = fs::canonical(entry->path(), error);
    if (!error) found.push_back(real);
  }
  return found;
}

/// The device library's type code for a chip, by the release number that the chip reports (bcdDevice).
std::uint32_t ChipType(std::uint32_t release) {
  constexpr std::uint32_t kUnknown = 3;
  static const std::map<std::uint32_t, std::uint32_t> kTypes = {
      {0x0200, 1}, {0x0400, 0}, {0x0500, 4}, {0x0600, 5}, {0x0700, 6}, {0x0800, 7}, {0x0900, 8}, {0x1000, 9}};
  const auto type = kTypes.find(release);
  return type == kTypes.end() ? kUnknown : type->second;
}

/// Reads what sysfs says about the port at an interface. The tty and its driver are left to the caller.
KernelPort ReadPort(const fs::path& interface, const fs::path& root) {
  const fs::path device = interface.parent_path();
  KernelPort port;
  port.usb = device.filename();
  port.interface = ReadNumber(interface, "bInterfaceNumber", 16);
  port.type = ChipType(ReadNumber(device, "bcdDevice", 16));
  port.id = ReadNumber(device, "idVendor", 16) << 16 | ReadNumber(device, "idProduct", 16);
  port.description = ReadAttribute(device, "product");
  port.serial = ReadAttribute(device, "serial");
  const bool has_several_ports = ReadNumber(device, "bNumInterfaces", 10) > 1;
  if (has_several_ports && !port.serial.empty()) port.serial += static_cast<char>('A' + port.interface % 26);
  char file[16];
  std::snprintf(file, sizeof file, "%03u/%03u", ReadNumber(device, "busnum", 10) % 1000,
                ReadNumber(device, "devnum", 10) % 1000);
  port.usb_file = root / "dev/bus/usb" / file;
  return port;
}

/// Whether this is one of the vendor's standard serial chips. Its other products may be anything; they count
/// as serial only if the kernel's serial driver takes them.
bool IsSerialChip(std::uint32_t id) {
  constexpr std::uint32_t kIds[] = {0x04036001, 0x04036010, 0x04036011, 0x04036014, 0x04036015};
  return std::find(std::begin(kIds), std::end(kIds), id) != std::end(kIds);
}

/// The number at the end of a tty's name; 0 if there is none.
unsigned long TtyNumber(const std::string& tty) {
  const std::string digits = tty.substr(tty.find_last_not_of("0123456789") + 1);
  unsigned long number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

/// Sorts by the lowest tty number of each chip, then by interface. The numbers of one chip's ports need not
/// be consecutive or in order.
void SortByTty(std::vector<KernelPort>* ports) {
  std::map<std::string, unsigned long> lowest;  // by chip
  for (const KernelPort& port : *ports) {
    const auto place = lowest.emplace(port.usb, TtyNumber(port.tty)).first;
    place->second = std::min(place->second, TtyNumber(port.tty));
  }
  std::sort(ports->begin(), ports->end(), [&](const KernelPort& a, const KernelPort& b) {
    return std::tuple(lowest[a.usb], a.interface, a.tty) < std::tuple(lowest[b.usb], b.interface, b.tty);
  });
}

/// The ports that have a tty.
std::vector<KernelPort> ListServed(const fs::path& root) {
  std::vector<KernelPort> ports;
  for (const fs::path& place : ResolvedEntries(root / "sys/bus/usb-serial/devices")) {
    if (LinkName(place / "driver") != kSerialDriver) continue;
    KernelPort port = ReadPort(place.parent_path(), root);
    port.tty = place.filename();
    port.driver = kSerialDriver;
    port.latency_timer = place / "latency_timer";
    ports.push_back(std::move(port));
  }
  SortByTty(&ports);
  return ports;
}

/// The serial chips that have another driver, or no driver.
std::vector<KernelPort> ListOthers(const fs::path& root) {
  std::vector<KernelPort> ports;
  for (const fs::path& interface : ResolvedEntries(root / "sys/bus/usb/devices")) {
    // Devices are in the same list. Only the names of interfaces have a colon.
    if (interface.filename().string().find(':') == std::string::npos) continue;
    KernelPort port = ReadPort(interface, root);
    port.driver = LinkName(interface / "driver");
    if (IsSerialChip(port.id) && port.driver != kSerialDriver) ports.push_back(std::move(port));
  }
  std::sort(ports.begin(), ports.end(), [](const KernelPort& a, const KernelPort& b) {
    return std::tie(a.usb, a.interface) < std::tie(b.usb, b.interface);
  });
  return ports;
}

/// The names of all serial ports, such as "ttyACM0". Consoles and pseudo-terminals are skipped, since they
/// have no device, and so are the kernel's unused entries for built-in ports, which have type 0.
std::vector<std::string> ListSerialPorts(const fs::path& root) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(root / "sys/class/tty", error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const fs::path& place = entry->path();
    if (fs::exists(place / "device", error) && ReadAttribute(place, "type") != "0")
      names.push_back(place.filename());
  }
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return std::pair(a.size(), a) < std::pair(b.size(), b);
  });
  return names;
}

/// Texts are cut to the lengths of FT_DEVICE_LIST_INFO_NODE. The COM number of ttyUSB0 is 1.
SerialPort SerialPortOf(const KernelPort& port, const fs::path& root, const NumberRules& rules) {
  const AnsiText ansi(rules);
  return {root / "dev" / port.tty,
          {port.type, port.id, ansi.FromUtf8(port.serial).substr(0, 16),
           ansi.FromUtf8(port.description).substr(0, 64), ComNumberOf(port.tty).value_or(-1)},
          port.latency_timer,
          root};
}

}  // namespace

std::vector<KernelPort> ListKernelPorts(const fs::path& root) {
  std::vector<KernelPort> ports = ListServed(root);
  for (KernelPort& port : ListOthers(root)) ports.push_back(std::move(port));
  return ports;
}

KernelDevice::KernelDevice(KernelPort port, const fs::path& root, const PortSettings& settings,
                           const NumberRules& rules, StoredLineSettings& stored_settings)
    : SerialDevice(SerialPortOf(port, root, rules), settings),
      kernel_port_(std::move(port)),
      root_(root),
      full_serial_(AnsiText(rules).FromUtf8(kernel_port_.serial)),
      stored_settings_(stored_settings) {
  Dcb configured;
  if (settings.baud && !full_serial_.empty() && SerialDevice::GetDefaultLineSettings(&configured))
    stored_settings_.Store(full_serial_, configured);
}

bool KernelDevice::Present() const {
  return FindListed().has_value();
}

/// The port as the kernel lists it now. Nothing while the device is unplugged.
std::optional<KernelPort> KernelDevice::FindListed() const {
  auto ports = ListKernelPorts(root_);
  const auto port = std::find(ports.begin(), ports.end(), kernel_port_);
  if (port == ports.end()) return std::nullopt;
  return std::move(*port);
}

/// Another device may have been given the tty's name since this one was unplugged, so the list is read again.
FT_STATUS KernelDevice::Open() {
  not_served_ = WhyNotServed();
  return not_served_.empty() ? SerialDevice::Open() : kDeviceFailed;
}

FT_STATUS KernelDevice::Probe() {
  not_served_ = WhyNotServed();
  return not_served_.empty() ? SerialDevice::Probe() : kDeviceFailed;
}

std::string KernelDevice::OpenFailure() const {
  return not_served_.empty() ? SerialDevice::OpenFailure() : not_served_;
}

std::string KernelDevice::WhyNotServed() const {
  const std::string place = "USB device " + kernel_port_.usb;
  const auto port = FindListed();
  if (!port) return place + ": has gone";
  if (!kernel_port_.tty.empty()) return "";
  if (kernel_port_.driver == "usbfs")
    return place + ": claimed by another program" + DescribeHolder(port->usb_file, root_);
  if (kernel_port_.driver.empty()) return place + ": the kernel's driver ftdi_sio doesn't serve it";
  return place + ": claimed by the kernel's driver " + kernel_port_.driver;
}

bool KernelDevice::GetDefaultLineSettings(Dcb* settings) {
  if (!HasDefaultLineSettings() && !full_serial_.empty()) {
    if (const auto stored = stored_settings_.Find(full_serial_)) {
      *settings = *stored;
      return true;
    }
  }
  return SerialDevice::GetDefaultLineSettings(settings);
}

bool KernelDevice::SetDefaultLineSettings(const Dcb& settings) {
  if (!full_serial_.empty() && !stored_settings_.Store(full_serial_, settings)) return false;
  return SerialDevice::SetDefaultLineSettings(settings);
}

std::vector<std::unique_ptr<Device>> KernelDevices::FindNew() {
  std::vector<std::unique_ptr<Device>> devices;
  for (KernelPort& port : ListKernelPorts(root_)) {
    if (std::find(known_.begin(), known_.end(), port) != known_.end()) continue;
    known_.push_back(port);
    devices.push_back(
        std::make_unique<KernelDevice>(std::move(port), root_, settings_, rules_, stored_settings_));
  }
  return devices;
}

std::vector<std::string> KernelDevices::TakeNotices() {
  if (!known_.empty() || std::exchange(noticed_, true)) return {};
  std::string ports;
  for (const std::string& name : ListSerialPorts(root_)) ports += " tty:/dev/" + name;
  const std::string others =
      ports.empty() ? "there is no other serial port either" : "other serial ports are named by" + ports;
  return {"--device linux: no FTDI device is plugged in; " + others};
}

}  // namespace halden
