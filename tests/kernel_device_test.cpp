#include "platform/linux/kernel_device.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

#include "driver/inspect.h"
#include "platform/machine.h"
#include "tests/device_contract.h"
#include "tests/pty.h"
#include "tests/registry_backends.h"

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
    Write(place + "/" + tty + "/latency_timer", "9");
    Link(*this / place + "/" + tty, "sys/bus/usb-serial/devices/" + tty);
    Link("/no/such/" + driver, place + "/" + tty + "/driver");
  }
  /// A chip of one port, behind which the pseudo-terminal is.
  void Plug(const std::string& usb, const std::string& serial, const std::string& tty, const Pty& pty) const {
    Plug(usb, "bcdDevice=0400 serial=" + serial, tty);
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
  /// A line for each device that is listed: what it is, and the port's configuration or why it can't be
  /// opened.
  std::string List(Machine& machine) const {
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
};

struct TwoOfTheKernel {
  Pty ptys[2];
  MadeUpSystem system;
  std::unique_ptr<Machine> machine;
};

DevicesUnderTest DevicesOfTheKernel() {
  auto two = std::make_shared<TwoOfTheKernel>();
  two->system.Plug("1-1", "A", "ttyUSB0", two->ptys[0]);
  two->system.Plug("1-2", "B", "ttyUSB1", two->ptys[1]);
  two->machine = two->system.Open();
  return {two, two->machine->platform(),
          [&ptys = two->ptys](std::size_t index, FT_HANDLE, const std::string& bytes) {
            EXPECT_TRUE(ptys[index].Write(bytes));
          }};
}

INSTANTIATE_TEST_SUITE_P(OfTheKernel, DeviceContract, testing::Values(DevicesOfTheKernel));

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
  system.Plug("1-6", chip + "bcdDevice=1000 serial=FREE idProduct=6014", "", "");
  system.Plug("1-7", chip + "idProduct=beef", "", "");
  system.Write("proc/12/comm", "brltty");
  const std::string served =
      "|FT4232H|QUADA|Text|/dev/ttyUSB5: no such file\n"
      "|FT4232H|QUADB|Text|/dev/ttyUSB2: no such file\n"
      "|Unknown|||/dev/ttyUSB3: no such file\n"
      "|FT232R|0123456789ABCDEF|Text|/dev/ttyUSB10: no such file\n"
      "|FT232BM|OTHER|Text|USB device 1-4: claimed by the kernel's driver ch341\n"
      "|FT_X_SERIES|TAKEN|Text|USB device 1-5: claimed by another program, ";
  const std::string free =
      "\n|FT_X_SERIES|FREE|Text|USB device 1-6: the kernel's driver ftdi_sio doesn't serve it\n";
  EXPECT_EQ(system.List(*system.Open()), served + "perhaps brltty, which runs" + free);
  system.Write("proc/13/comm", "reader");
  system.Link(system / "dev/bus/usb/001/012", "proc/13/fd/5");
  EXPECT_EQ(system.List(*system.Open()), served + "reader (process 13)" + free);
}

TEST(KernelDevice, IsListedWhilePluggedInBesideOtherDevices) {
  const MadeUpSystem system;
  const Pty first, second;
  system.Plug("1-2", "A", "ttyUSB70000", first);
  const auto machine = system.Open({"sim:com=30000", "linux", "tty:/dev/no-such"});
  const std::string without =
      "COM30000|FT232R|SIM1|Simulated device|115200,N,8,1\n"
      "COM-1|FT232BM|A||9600,N,8,1\n"
      "|Unknown|no-such|/dev/no-such|/dev/no-such: no such file\n";
  EXPECT_EQ(system.List(*machine), without);
  for (int i = 0; i < 2; ++i) {
    system.Plug("1-1", "B", "ttyUSB19999", second);
    EXPECT_EQ(system.List(*machine), without + "COM20000|FT232BM|B||38400,N,8,1\n")
        << "the same number again";
    system.Unplug("1-1");
    EXPECT_EQ(system.List(*machine), without);
  }
  FT_HANDLE handle = -1;
  machine->platform().d2xx.FT_Open(1, &handle);
  EXPECT_EQ(machine->platform().d2xx.FT_SetLatencyTimer(handle, 5), FT_OK);
  EXPECT_EQ(FileText(system / "usb/1-2/1-2:1.0/ttyUSB70000/latency_timer"), "5\n");
}

TEST(KernelDevice, KeepsThePortsConfigurationWithTheSerialNumber) {
  const MadeUpSystem system;
  const Pty first, second;
  const auto list = [&](const std::string& devices) { return system.List(*system.Open({devices})); };
  system.Plug("1-1", "0123456789ABCDEF", "ttyUSB0", first);
  system.Plug("1-2", "", "ttyUSB1", second);
  {
    const auto machine = system.Open();
    CommConfigApi& ports = machine->platform().comm_config;
    CommConfig config;
    config.dcb = {.BaudRate = 250000, .ByteSize = 7, .Parity = 2, .StopBits = 2};
    for (const char* const com : {"COM1", "COM2"})
      EXPECT_TRUE(ports.SetDefaultCommConfigA(com, &config, sizeof config));
    config.dcb.Parity = 9;
    EXPECT_FALSE(ports.SetDefaultCommConfigA("COM1", &config, sizeof config));
  }
  system.Unplug("1-1");
  system.Plug("1-3", "0123456789ABCDEF", "ttyUSB5", first);
  const std::string unknown = "COM2|FT232BM|||38400,N,8,1\n";
  const std::string known = "COM6|FT232BM|0123456789ABCDEF||";
  EXPECT_EQ(list("linux"), unknown + known + "250000,E,7,2\n")
      << "kept for that run only without a serial number";
  EXPECT_NE(list("linux,baud=57600").find(known + "57600,N,8,1\n"), std::string::npos);
  EXPECT_EQ(list("linux"), unknown + known + "57600,N,8,1\n");

  if (geteuid() != 0) return;  // only the superuser can be somebody else
  fs::permissions(system / "", fs::perms(0755));
  fs::permissions(first.path(), fs::perms(0666));
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_NE(list("linux,baud=4800").find("|4800,N,8,1"), std::string::npos) << "though it can't be kept";
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
