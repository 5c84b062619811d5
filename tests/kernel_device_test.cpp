#include "platform/linux/kernel_device.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>

#include "platform/linux/holders.h"
#include "platform/machine.h"
#include "tests/device_contract.h"
#include "tests/pty.h"
#include "tests/registry_backends.h"

namespace halden {
namespace {

namespace fs = std::filesystem;
using Attributes = std::map<std::string, std::string>;

/// A tree like those of /sys, /dev and /proc, and machines over it.
class MadeUpSystem {
 public:
  std::string operator/(const std::string& path) const { return root_ + "/" + path; }
  const std::string& root() const { return root_; }

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
  /// tty or without.
  void Plug(const std::string& usb, const Attributes& attributes, const std::string& tty,
            const std::string& driver = "ftdi_sio", const std::string& interface = "0") const {
    for (const auto& [name, text] : attributes) Write("usb/" + usb + "/" + name, text);
    const std::string name = usb + ":1." + interface, place = "usb/" + usb + "/" + name;
    Write(place + "/bInterfaceNumber", "0" + interface);
    Link(*this / place, "sys/bus/usb/devices/" + name);
    if (!driver.empty()) Link("/no/such/" + driver, place + "/driver");
    if (tty.empty()) return;
    Write(place + "/" + tty + "/latency_timer", "9");
    Link(*this / place + "/" + tty, "sys/bus/usb-serial/devices/" + tty);
    Link("/no/such/" + driver, place + "/" + tty + "/driver");
  }
  /// A chip of one port, behind which the pseudo-terminal is.
  void Plug(const std::string& usb, const std::string& serial, const std::string& tty, const Pty& pty) const {
    Plug(usb, {{"bcdDevice", "0400"}, {"serial", serial}}, tty);
    Link(pty.path(), "dev/" + tty);
  }
  void Unplug(const std::string& usb) const { fs::remove_all(*this / "usb/" + usb); }

  std::unique_ptr<Machine> Open(const std::vector<std::string>& devices = {"linux"}) const {
    std::string error;
    auto machine =
        OpenMachine({.devices = devices, .registry_file = *this / "my.reg", .system_root = root_}, &error);
    EXPECT_EQ(error, "");
    return machine;
  }

 private:
  ScratchDirectory directory_;
  std::string root_ = fs::canonical(directory_ / ".").string();
};

TEST(KernelPorts, AreListedByTtyAndInterfaceWithWhatTheirAttributesSay) {
  const MadeUpSystem system;
  EXPECT_TRUE(ListKernelPorts(system.root()).empty());
  const auto chip = [](const std::string& product, const std::string& release, const std::string& serial) {
    return Attributes{{"idVendor", "0403"},   {"idProduct", product},
                      {"bcdDevice", release}, {"bNumInterfaces", product == "6011" ? " 4" : " 1"},
                      {"product", "Text"},    {"serial", serial}};
  };
  system.Plug("1-1", chip("6001", "0600", "0123456789ABCDEF"), "ttyUSB10");
  // Another device had the number in between when it came.
  system.Plug("1-2", chip("6011", "0800", "QUAD"), "ttyUSB2", "ftdi_sio", "1");
  system.Plug("1-2", {}, "ttyUSB5");
  system.Plug("1-3", {{"idVendor", "0403"}}, "ttyUSB3");
  system.Plug("1-4", chip("6001", "0400", "OTHER"), "ttyUSB4", "ch341");
  system.Plug("1-5", chip("6001", "1000", "TAKEN"), "", "usbfs");
  system.Plug("1-6", chip("beef", "1000", "NO SERIAL PORT"), "", "");
  std::string listed;
  for (const KernelPort& port : ListKernelPorts(system.root()))
    listed += port.tty + "|" + port.driver + "|" + std::to_string(port.type) + "|" + port.serial + "|" +
              port.description + "\n";
  EXPECT_EQ(listed,
            "ttyUSB5|ftdi_sio|7|QUADA|Text\n"
            "ttyUSB2|ftdi_sio|7|QUADB|Text\n"
            "ttyUSB3|ftdi_sio|3||\n"
            "ttyUSB10|ftdi_sio|5|0123456789ABCDEF|Text\n"
            "|ch341|0|OTHER|Text\n"
            "|usbfs|9|TAKEN|Text\n");
}

class KernelDevicesUnderTest : public DevicesUnderTest {
 public:
  KernelDevicesUnderTest() {
    system_.Plug("1-1", "A", "ttyUSB0", ptys_[0]);
    system_.Plug("1-2", "B", "ttyUSB1", ptys_[1]);
    machine_ = system_.Open();
  }
  Platform& platform() override { return machine_->platform(); }
  void Say(std::size_t index, FT_HANDLE, const std::string& bytes) override {
    EXPECT_TRUE(ptys_[index].Write(bytes));
  }

 private:
  MadeUpSystem system_;
  Pty ptys_[2];
  std::unique_ptr<Machine> machine_;
};

INSTANTIATE_TEST_SUITE_P(OfTheKernel, DeviceContract,
                         testing::Values([] { return std::make_unique<KernelDevicesUnderTest>(); }));

/// Opens what the library lists, in turn: "COM number, failure" of each device.
std::string List(Machine& machine) {
  D2xx& library = machine.platform().d2xx;
  std::int32_t count = 0;
  library.FT_CreateDeviceInfoList(&count);
  std::string text;
  for (std::int32_t index = 0; index < count; ++index) {
    FT_HANDLE handle = -1;
    std::int32_t com = 0;
    if (library.FT_Open(index, &handle) == FT_OK) library.FT_GetComPortNumber(handle, &com);
    library.FT_SetLatencyTimer(handle, 5);
    library.FT_Close(handle);
    text += "COM" + std::to_string(com) + " " + machine.OpenFailures()[index] + "\n";
  }
  return text;
}

TEST(KernelDevice, IsListedWhilePluggedInBesideOtherDevices) {
  const MadeUpSystem system;
  const Pty pty, first, second;
  system.Plug("1-2", "A", "ttyUSB70000", first);
  const auto machine = system.Open({"tty:" + pty.path(), "sim:com=30000", "linux", "tty:/dev/no-such"});
  const std::string without =
      "COM" + std::to_string(pty.number() + 1) + " \nCOM30000 \nCOM-1 \nCOM0 /dev/no-such: no such file\n";
  EXPECT_EQ(List(*machine), without);
  EXPECT_EQ(FileText(system / "usb/1-2/1-2:1.0/ttyUSB70000/latency_timer"), "5\n");
  for (int i = 0; i < 2; ++i) {
    system.Plug("1-1", "B", "ttyUSB19999", second);
    EXPECT_EQ(List(*machine), without + "COM20000 \n") << "the same number again";
    system.Unplug("1-1");
    EXPECT_EQ(List(*machine), without);
  }
}

TEST(KernelDevice, SaysWhoHasTakenIt) {
  const MadeUpSystem system;
  const std::string taken = "COM0 USB device 1-1: claimed by another program";
  const std::string free = "\nCOM0 USB device 1-2: the kernel's driver ftdi_sio doesn't serve it\n";
  const Attributes chip = {{"idVendor", "0403"}, {"idProduct", "6001"}, {"busnum", "1"}, {"devnum", "12"}};
  system.Plug("1-1", chip, "", "usbfs");
  system.Plug("1-2", chip, "", "");
  EXPECT_EQ(List(*system.Open()), taken + free);
  system.Write("proc/12/comm", "brltty");
  EXPECT_EQ(HolderText("/dev/ttyUSB0", system.root()), ", perhaps brltty, which runs");
  system.Write("proc/13/comm", "reader");
  system.Link(system / "dev/bus/usb/001/012", "proc/13/fd/5");
  EXPECT_EQ(List(*system.Open()), taken + ", reader (process 13)" + free);
}

TEST(KernelDevice, KeepsThePortsConfigurationWithTheSerialNumber) {
  const MadeUpSystem system;
  const Pty first, second;
  const auto line = [](const std::unique_ptr<Machine>& machine, const std::string& com) {
    CommConfig config;
    std::uint32_t size = sizeof config;
    machine->platform().comm_config.GetDefaultCommConfigA(com, &config, &size);
    return config.dcb;
  };
  const Dcb chosen{.BaudRate = 250000, .ByteSize = 7, .Parity = 2, .StopBits = 2};
  const Dcb given{.BaudRate = 57600, .ByteSize = 8};
  system.Plug("1-1", "0123456789ABCDEF", "ttyUSB0", first);
  system.Plug("1-2", "", "ttyUSB1", second);
  {
    const auto machine = system.Open();
    CommConfig config;
    config.dcb = chosen;
    for (const char* const com : {"COM1", "COM2"}) {
      EXPECT_TRUE(machine->platform().comm_config.SetDefaultCommConfigA(com, &config, sizeof config));
      EXPECT_EQ(line(machine, com), chosen);
    }
    config.dcb.Parity = 9;
    EXPECT_FALSE(machine->platform().comm_config.SetDefaultCommConfigA("COM1", &config, sizeof config));
  }
  system.Unplug("1-1");
  system.Plug("1-3", "0123456789ABCDEF", "ttyUSB5", first);
  EXPECT_EQ(line(system.Open(), "COM6"), chosen);
  EXPECT_NE(line(system.Open(), "COM2"), chosen) << "without a serial number for that run only";
  EXPECT_EQ(line(system.Open({"linux,baud=57600"}), "COM6"), given);
  EXPECT_EQ(line(system.Open(), "COM6"), given);

  if (geteuid() != 0) return;  // only the superuser can be somebody else
  fs::permissions(system.root(), fs::perms(0755));
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(line(system.Open({"linux,baud=4800"}), "COM6").BaudRate, 4800u) << "though it can't be kept";
  EXPECT_EQ(line(system.Open(), "COM6"), given);
  ASSERT_EQ(seteuid(0), 0);
}

TEST(PortLines, TakesNoTextThatIsNoLine) {
  const ScratchDirectory files;
  const FixedNumberRules rules = FixedNumberRules::C();
  FileRegistry registry(files / "ports.reg", rules);
  PortLines lines(files / "ports.reg", rules);
  for (const std::string text : {"57600,N,8", "57600,N;8,1", "57600,N,8;1", "0,N,8,1", "x", "57600,Q,8,1",
                                 "57600,N,9,1", "57600,N,3,1", "9600,S,7,1.5", "9600,E,4,2"}) {
    ASSERT_EQ(SetRaw(registry, "Ports", "X", REG_SZ, text), ERROR_SUCCESS);
    EXPECT_EQ(lines.Find("x").has_value(), text.starts_with("9600")) << text;
  }
  EXPECT_EQ(lines.Find("X")->StopBits, 2);
}

}  // namespace
}  // namespace halden
