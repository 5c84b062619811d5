#include "backends/linux/serial/kernel_ports.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <map>
#include <system_error>
#include <tuple>

namespace halden {
namespace {

namespace fs = std::filesystem;

constexpr char kSerialDriver[] = "ftdi_sio";

std::string Attribute(const fs::path& directory, const char* name) {
  std::string text;
  std::getline(std::ifstream(directory / name), text);
  return text;
}

/// 0 where there is no such number. The kernel writes blanks before some.
std::uint32_t NumberAttribute(const fs::path& directory, const char* name, int base) {
  std::string text = Attribute(directory, name);
  text.erase(0, text.find_first_not_of(' '));
  std::uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

/// What a link of sysfs names; a device that has just gone, or has no driver, has none.
std::string LinkName(const fs::path& link) {
  std::error_code error;
  return fs::read_symlink(link, error).filename();
}

std::vector<fs::path> Entries(const fs::path& directory) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const fs::path real = fs::canonical(entry->path(), error);
    if (!error) found.push_back(real);
  }
  return found;
}

std::uint32_t ChipType(std::uint32_t release) {
  constexpr std::uint32_t kUnknown = 3;
  static const std::map<std::uint32_t, std::uint32_t> kTypes = {
      {0x0200, 1}, {0x0400, 0}, {0x0500, 4}, {0x0600, 5}, {0x0700, 6}, {0x0800, 7}, {0x0900, 8}, {0x1000, 9}};
  const auto type = kTypes.find(release);
  return type == kTypes.end() ? kUnknown : type->second;
}

/// The port at an interface of a device, which the directory of the interface in sysfs tells of.
KernelPort PortAt(const fs::path& interface, const fs::path& root) {
  const fs::path device = interface.parent_path();
  KernelPort port;
  port.usb = device.filename();
  port.interface = NumberAttribute(interface, "bInterfaceNumber", 16);
  port.type = ChipType(NumberAttribute(device, "bcdDevice", 16));
  port.id = NumberAttribute(device, "idVendor", 16) << 16 | NumberAttribute(device, "idProduct", 16);
  port.description = Attribute(device, "product");
  port.serial = Attribute(device, "serial");
  const bool several = NumberAttribute(device, "bNumInterfaces", 10) > 1;
  if (several && !port.serial.empty()) port.serial += static_cast<char>('A' + port.interface % 26);
  char file[16];
  std::snprintf(file, sizeof file, "%03u/%03u", NumberAttribute(device, "busnum", 10) % 1000,
                NumberAttribute(device, "devnum", 10) % 1000);
  port.usb_file = root / "dev/bus/usb" / file;
  return port;
}

/// The vendor's own products that are serial ports as they come from the factory.
bool IsSerialChip(std::uint32_t id) {
  constexpr std::uint32_t kIds[] = {0x04036001, 0x04036010, 0x04036011, 0x04036014, 0x04036015};
  return std::find(std::begin(kIds), std::end(kIds), id) != std::end(kIds);
}

unsigned long TtyNumber(const KernelPort& port) {
  const std::string digits = port.tty.substr(port.tty.find_last_not_of("0123456789") + 1);
  unsigned long number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

void SortByTty(std::vector<KernelPort>* ports) {
  std::map<std::string, unsigned long> first;  // tty number of each chip
  for (const KernelPort& port : *ports) {
    const auto place = first.emplace(port.usb, TtyNumber(port)).first;
    place->second = std::min(place->second, TtyNumber(port));
  }
  std::sort(ports->begin(), ports->end(), [&](const KernelPort& a, const KernelPort& b) {
    return std::tuple(first[a.usb], a.interface, a.tty) < std::tuple(first[b.usb], b.interface, b.tty);
  });
}

std::vector<KernelPort> ListServed(const fs::path& root) {
  std::vector<KernelPort> ports;
  for (const fs::path& place : Entries(root / "sys/bus/usb-serial/devices")) {
    if (LinkName(place / "driver") != kSerialDriver) continue;
    KernelPort port = PortAt(place.parent_path(), root);
    port.tty = place.filename();
    port.driver = kSerialDriver;
    port.latency_timer = place / "latency_timer";
    ports.push_back(std::move(port));
  }
  SortByTty(&ports);
  return ports;
}

std::vector<KernelPort> ListOthers(const fs::path& root) {
  std::vector<KernelPort> ports;
  for (const fs::path& interface : Entries(root / "sys/bus/usb/devices")) {
    if (interface.filename().string().find(':') == std::string::npos) continue;
    KernelPort port = PortAt(interface, root);
    port.driver = LinkName(interface / "driver");
    if (IsSerialChip(port.id) && port.driver != kSerialDriver) ports.push_back(std::move(port));
  }
  std::sort(ports.begin(), ports.end(), [](const KernelPort& a, const KernelPort& b) {
    return std::tie(a.usb, a.interface) < std::tie(b.usb, b.interface);
  });
  return ports;
}

}  // namespace

std::vector<KernelPort> ListKernelPorts(const fs::path& root) {
  std::vector<KernelPort> ports = ListServed(root);
  for (KernelPort& port : ListOthers(root)) ports.push_back(std::move(port));
  return ports;
}

}  // namespace halden
