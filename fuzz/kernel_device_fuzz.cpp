// The input is what the kernel says about a chip with one or several ports, and a text in the file of stored
// line settings. The chip must be listed with texts that fit into the device list, and a text must be taken
// as line settings exactly if it is written as the driver writes them.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>

#include "backends/linux/serial/kernel_device.h"
#include "backends/text/fixed_number_rules.h"
#include "fuzz/choices.h"

namespace halden {
namespace {

namespace fs = std::filesystem;

const FixedNumberRules kRules = FixedNumberRules::Point();

/// An empty folder in memory, for the whole run of the fuzzer.
const fs::path& Root() {
  static const fs::path root = mkdtemp(std::string("/dev/shm/halden-fuzz-XXXXXX").data());
  static const bool cleaned = std::atexit([] { fs::remove_all(root); }) == 0;
  Demand(cleaned, "the folder is removed at the end");
  return root;
}

std::string Attribute(Choices& choices) {
  return choices.Text(choices.Below(80));
}

/// Lays out /sys as the kernel does for one chip, with attributes from the input.
int PlugChip(Choices& choices) {
  fs::remove_all(Root() / "sys");
  fs::remove_all(Root() / "usb");
  const fs::path device = Root() / "usb/1-2";
  const fs::path list = Root() / "sys/bus/usb-serial/devices";
  fs::create_directories(device);
  fs::create_directories(list);
  for (const char* name :
       {"serial", "product", "bcdDevice", "idVendor", "idProduct", "bNumInterfaces", "busnum", "devnum"})
    std::ofstream(device / name) << Attribute(choices);
  const int ports = 1 + choices.Below(4);
  for (int i = 0; i < ports; ++i) {
    const std::string tty = "ttyUSB" + std::to_string(i);
    const fs::path interface = device / ("1-2:1." + std::to_string(i));
    fs::create_directories(interface / tty);
    std::ofstream(interface / "bInterfaceNumber") << Attribute(choices);
    fs::create_symlink("/no/such/ftdi_sio", interface / tty / "driver");
    fs::create_symlink(interface / tty, list / tty);
  }
  return ports;
}

void ListChip(Choices& choices, StoredLineSettings& stored) {
  const auto ports = static_cast<std::size_t>(PlugChip(choices));
  KernelDevices devices(Root(), {}, kRules, stored);
  const auto found = devices.FindNew();
  Demand(found.size() == ports, "every port is listed");
  for (const auto& device : found) {
    Demand(device->Identity().serial.size() <= 16, "a serial number has at most 16 characters");
    Demand(device->Identity().description.size() <= 64, "a description has at most 64 characters");
    Demand(device->Present(), "a listed device is present");
    Dcb settings;
    device->GetDefaultLineSettings(&settings);
    Demand(device->Probe() != FT_OK && !device->OpenFailure().empty(),
           "a tty that doesn't exist is explained");
  }
  Demand(devices.FindNew().empty(), "a listed device isn't new");
}

/// What a stored text means.
std::optional<Dcb> Read(const std::string& text) {
  static const std::regex kLine("0*([0-9]{1,10}),([NOEMS]),([4-8]),(1|1\\.5|2)");
  std::smatch parts;
  if (!std::regex_match(text, parts, kLine)) return std::nullopt;
  const unsigned long long baud = std::stoull(parts[1]);
  if (baud == 0 || baud > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  Dcb settings;
  settings.BaudRate = static_cast<std::uint32_t>(baud);
  settings.Parity = static_cast<std::uint8_t>(std::string("NOEMS").find(parts[2]));
  settings.ByteSize = static_cast<std::uint8_t>(std::stoi(parts[3]));
  settings.StopBits = parts[4] == "1" ? 0 : parts[4] == "2" ? 2 : 1;
  return settings;
}

void FindStored(const std::string& text, const std::string& file, StoredLineSettings& stored) {
  FileRegistry registry(file, kRules);
  HKEY key = 0;
  registry.RegCreateKeyExA(HKEY_CURRENT_USER, "Ports", KEY_WRITE, &key);
  const auto size = static_cast<std::uint32_t>(text.size());
  Demand(registry.RegSetValueExA(key, "S", REG_SZ, text.data(), size) == ERROR_SUCCESS, "the text is stored");
  registry.RegCloseKey(key);
  const auto found = stored.Find("S");
  constexpr std::size_t kRoom = 64;  // for a text; a longer one can't be line settings
  Demand(found == (size <= kRoom ? Read(text.substr(0, text.find('\0'))) : std::nullopt),
         "a text is taken exactly if it is written as line settings");
  if (!found) return;
  Demand(stored.Store("T", *found) && stored.Find("T") == found, "stored settings are found again");
}

void Run(Choices choices) {
  const std::string file = Root() / "registry-ports.reg";
  fs::remove(file);
  StoredLineSettings stored(file, kRules);
  FindStored(choices.Text(choices.Byte()), file, stored);
  ListChip(choices, stored);
}

}  // namespace
}  // namespace halden

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halden::Run({data, size});
  return 0;
}
