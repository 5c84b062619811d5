#include "backends/linux/serial/kernel_device.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

#include "backends/system_platform.h"
#include "backends/text/fixed_number_rules.h"
#include "driver/inspect.h"
#include "tests/device_contract.h"
#include "tests/pty.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

namespace fs = std::filesystem;

/// A tree like those of /sys, /dev and /proc, and machines over it.
class MadeUpSystem {
 public:
  std::string operator/(const std::string& path) const { return root_ + "/" + path; }

  void Write(const std::string& path, const std::string& text) const {
    fs::create_directories(fs::path(*this / path).parent_path());
    SetFileText(*this / path, text + "\n");
  }
  void Link(const std::string& target, const std::string& path) const {
    fs::create_directories(fs::path(*this / path).parent_path());
    fs::remove(*this / path);
    fs::create_symlink(target, *this / path);
  }
  /// A device with one interface, or one more interface of it, and the driver that serves it, if any; with a
  /// tty or without. Attributes are words like "serial=A".
  void Plug(const std::string& usb, const std::string& attributes, const std::string& tty,
            const std::string& driver = "ftdi_sio", const std::string& interface = "0") const {
    std::istringstream words(attributes);
    for (std::string word; words >> word;)
      Write("usb/" + usb + "/" + word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
    const std::string name = usb + ":1." + interface, place = "usb/" + usb + "/" + name;
    Write(place + "/bInterfaceNumber", "0" + interface);
    Link(*this / place, "sys/bus/usb/devices/" + name);
    if (!driver.empty()) Link("/no/such/" + driver, place + "/driver");
    if (tty.empty()) return;
    Link("/no/such/" + driver, place + "/" + tty + "/driver");
    Link(*this / place + "/" + tty, "sys/bus/usb-serial/devices/" + tty);
  }
  /// A chip of one port, behind which the pseudo-terminal is. Each time it has another number on its bus.
  void Plug(const std::string& usb, const std::string& serial, const std::string& tty, const Pty& pty) {
    Plug(usb, "bcdDevice=0400 busnum=1 devnum=" + std::to_string(++plugged_) + " serial=" + serial, tty);
    Link(pty.path(), "dev/" + tty);
  }
  void Unplug(const std::string& usb) const { fs::remove_all(*this / "usb/" + usb); }

  std::unique_ptr<SystemPlatform> Open() const {
    std::string error;
    return OpenSystemPlatform({.devices = {"linux"}, .registry_file = *this / "my.reg", .system_root = root_},
                              &error);
  }
  /// A line for each device that is listed: what it is, and the port's configuration or why it can't be
  /// opened.
  std::string List(SystemPlatform& machine) const {
    std::string text;
    for (const ListedDevice& device : ListDevices(machine.platform())) {
      std::string failure = machine.OpenFailures()[std::count(text.begin(), text.end(), '\n')];
      if (failure.starts_with(root_)) failure.erase(0, root_.size());
      text += device.com_name + "|" + device.chip + "|" + device.serial + "|" + device.description + "|" +
              device.line + failure + "\n";
    }
    return text;
  }

 private:
  ScratchDirectory directory_;
  std::string root_ = fs::canonical(directory_ / ".").string();
  int plugged_ = 0;
};

/// The devices that the kernel lists below a root.
struct Listed {
  explicit Listed(const std::string& root) : devices(root, {}, rules, lines) {}

  ScratchDirectory files;
  FixedNumberRules rules = FixedNumberRules::C();
  StoredLineSettings lines{files / "ports.reg", rules};
  KernelDevices devices;
  EmulatedD2xx library{{}, [this] { return devices.New(); }};
};

DevicesUnderTest InAMadeUpTree() {
  struct Tree {
    MadeUpSystem system;
    Pty ptys[2];
    Listed listed{system / ""};
  };
  const auto tree = std::make_shared<Tree>();
  tree->system.Plug("1-1", "A", "ttyUSB0", tree->ptys[0]);
  tree->system.Plug("1-2", "B", "ttyUSB1", tree->ptys[1]);
  return {std::shared_ptr<EmulatedD2xx>(tree, &tree->listed.library),
          [tree](std::size_t index, FT_HANDLE, const std::string& bytes) { tree->ptys[index].Write(bytes); }};
}

/// Two chips that send back what they are sent.
DevicesUnderTest OnARealKernel() {
  const auto listed = std::make_shared<Listed>("/");
  return {std::shared_ptr<EmulatedD2xx>(listed, &listed->library),
          [listed](std::size_t, FT_HANDLE handle, const std::string& bytes) {
            std::uint32_t written = 0;
            listed->library.FT_Write(handle, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                     &written);
          }};
}

// Only a machine that is made for it has chips that may be written to.
INSTANTIATE_TEST_SUITE_P(OfTheKernel, DeviceContract,
                         testing::Values(std::getenv("HALDEN_CHIPS_SEND_BACK") ? OnARealKernel
                                                                               : InAMadeUpTree));

TEST(KernelDevice, IsListedByTtyAndInterfaceWithWhatItsAttributesSayAndWhoHasTakenIt) {
  const MadeUpSystem system;
  EXPECT_EQ(system.List(*system.Open()), "");
  const std::string chip = "idVendor=0403 idProduct=6001 product=Text busnum=1 devnum=12 ";
  system.Plug("1-1", chip + "bcdDevice=0600 serial=0123456789ABCDEF", "ttyUSB10");
  // Another device had the number in between when it came.
  system.Plug("1-2", chip + "bcdDevice=0800 serial=QUAD", "ttyUSB2", "ftdi_sio", "1");
  system.Plug("1-2", "", "ttyUSB5");
  system.Write("usb/1-2/bNumInterfaces", " 4");
  system.Plug("1-3", "idVendor=0403", "ttyUSB3");
  system.Plug("1-4", chip + "bcdDevice=0400 serial=OTHER", "ttyUSB4", "ch341");
  system.Plug("1-5", chip + "bcdDevice=1000 serial=TAKEN idProduct=6015", "", "usbfs");
  system.Plug("1-6", chip + "idProduct=beef", "", "");
  system.Write("proc/12/comm", "brltty");
  EXPECT_EQ(
      system.List(*system.Open()),
      "|FT4232H|QUADA|Text|/dev/ttyUSB5: no such file\n"
      "|FT4232H|QUADB|Text|/dev/ttyUSB2: no such file\n"
      "|Unknown|||/dev/ttyUSB3: no such file\n"
      "|FT232R|0123456789ABCDEF|Text|/dev/ttyUSB10: no such file\n"
      "|FT232BM|OTHER|Text|USB device 1-4: claimed by the kernel's driver ch341\n"
      "|FT_X_SERIES|TAKEN|Text|USB device 1-5: claimed by another program, perhaps brltty, which runs\n");
}

TEST(KernelDevice, KeepsItsNumberAndItsPortsConfigurationWhileItIsUnplugged) {
  MadeUpSystem system;
  const Pty first, second;
  const std::string serial = "0123456789ABCDEF", usual = "38400,N,8,1\n", set = "250000,E,7,2\n";
  const std::string unknown = "COM2|FT232BM|||", known = "COM32767|FT232BM|" + serial + "||";
  system.Plug("1-1", "", "ttyUSB1", first);
  const auto machine = system.Open();
  EXPECT_EQ(system.List(*machine), unknown + usual);
  system.Plug("1-2", serial, "ttyUSB32766", second);
  D2xx& library = machine->platform().d2xx;
  std::int32_t count = 0;
  EXPECT_EQ(library.FT_ListDevices(&count, nullptr, FT_LIST_NUMBER_ONLY), FT_OK);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(system.List(*machine), unknown + usual + known + usual);
  CommConfig config;
  config.dcb = {.BaudRate = 250000, .ByteSize = 7, .Parity = 2, .StopBits = 2};
  for (const char* const com : {"COM2", "COM32767"})
    EXPECT_TRUE(machine->platform().comm_config.SetDefaultCommConfigA(com, &config, sizeof config));
  system.Unplug("1-2");
  EXPECT_EQ(system.List(*machine), unknown + set);
  system.Plug("1-2", serial, "ttyUSB32766", second);
  EXPECT_EQ(system.List(*machine), unknown + set + known + set);
  system.Unplug("1-1");
  system.Plug("1-1", "OTHER", "ttyUSB1", first);
  FT_HANDLE handle = -1;
  EXPECT_NE(library.FT_Open(0, &handle), FT_OK) << "another chip by the name of the one that was listed";
  system.Unplug("1-1");
  system.Plug("1-1", "", "ttyUSB1", first);

  system.Unplug("1-2");
  system.Plug("1-3", serial, "ttyUSB5", second);
  EXPECT_EQ(system.List(*system.Open()), unknown + usual + "COM6|FT232BM|" + serial + "||" + set)
      << "kept for that run only without a serial number";
  const std::string file = FileText(system / "my-ports.reg"), kept = "250000,E,7,2";
  for (const std::string text : {"57600,N,8", "57600,N;8,1", "0,N,8,1", "57600,Q,8,1", "57600,N,9,1"}) {
    SetFileText(system / "my-ports.reg", std::string(file).replace(file.find(kept), kept.size(), text));
    EXPECT_TRUE(system.List(*system.Open()).ends_with("|" + serial + "||" + usual)) << text;
  }
}

}  // namespace
}  // namespace halden
