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

/// A tree like those of /sys, /dev and /proc.
class MadeUpSystem {
 public:
  const std::string& root() const { return root_; }
  std::string Device(const std::string& usb) const { return root_ + "/sys/devices/usb1/" + usb; }

  void Plug(const std::string& usb, const Attributes& attributes) const {
    for (const auto& [name, text] : attributes) Write(Device(usb) + "/" + name, text);
  }
  /// An interface of a plugged device, and the driver that serves it, if any; with a tty or without.
  void AddInterface(const std::string& usb, int number, const std::string& tty,
                    const std::string& driver = "ftdi_sio") const {
    const std::string name = usb + ":1." + std::to_string(number), place = Device(usb) + "/" + name;
    Write(place + "/bInterfaceNumber", "0" + std::to_string(number));
    Link(place, root_ + "/sys/bus/usb/devices/" + name);
    if (!driver.empty()) Link("/no/such/" + driver, place + "/driver");
    if (tty.empty()) return;
    Write(place + "/" + tty + "/latency_timer", "9");
    Link(place + "/" + tty, root_ + "/sys/bus/usb-serial/devices/" + tty);
    Link("/no/such/" + driver, place + "/" + tty + "/driver");
  }
  /// A chip of one port, behind which the pseudo-terminal is.
  void PlugPty(const std::string& usb, const std::string& serial, const std::string& tty,
               const Pty& pty) const {
    Plug(usb, {{"bcdDevice", "0400"}, {"serial", serial}});
    AddInterface(usb, 0, tty);
    fs::remove(root_ + "/dev/" + tty);
    Link(pty.path(), root_ + "/dev/" + tty);
  }
  void Unplug(const std::string& usb, const std::string& tty) const {
    fs::remove_all(Device(usb));
    fs::remove(root_ + "/sys/bus/usb/devices/" + usb + ":1.0");
    fs::remove(root_ + "/sys/bus/usb-serial/devices/" + tty);
  }
  static void Write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    SetFileText(file, text + "\n");
  }
  static void Link(const fs::path& target, const fs::path& link) {
    fs::create_directories(link.parent_path());
    fs::create_symlink(target, link);
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
  system.Plug("1-1", chip("6001", "0600", "0123456789ABCDEF"));
  system.AddInterface("1-1", 0, "ttyUSB10");
  system.Plug("1-2", chip("6011", "0800", "QUAD"));
  system.AddInterface("1-2", 1, "ttyUSB2");  // another device had the number in between when it came
  system.AddInterface("1-2", 0, "ttyUSB5");
  system.Plug("1-3", {{"idVendor", "0403"}});
  system.AddInterface("1-3", 0, "ttyUSB3");
  system.Plug("1-4", chip("6001", "0400", "OTHER"));
  system.AddInterface("1-4", 0, "ttyUSB4", "ch341");
  system.Plug("1-5", chip("6001", "1000", "TAKEN"));
  system.AddInterface("1-5", 0, "", "usbfs");
  system.Plug("1-6", chip("beef", "1000", "NO SERIAL PORT"));
  system.AddInterface("1-6", 0, "", "");
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
    for (int i : {0, 1})
      system_.PlugPty("1-" + std::to_string(i), "S", "ttyUSB" + std::to_string(i), ptys_[i]);
    system_.Plug("1-1", {{"serial", "T"}});
    auto devices = kernel_.New();
    for (const auto& device : devices) devices_.push_back(device.get());
    library_.emplace(std::move(devices));
  }

  DeviceLibrary& library() override { return *library_; }
  void Say(std::size_t index, const std::string& bytes) override {
    std::uint32_t before = 0, now = 0;
    devices_[index]->GetQueueStatus(&before);
    ASSERT_TRUE(ptys_[index].Write(bytes));
    while (now < before + bytes.size()) ASSERT_EQ(devices_[index]->GetQueueStatus(&now), FT_OK);
  }

 private:
  MadeUpSystem system_;
  ScratchDirectory files_;
  Pty ptys_[2];
  const FixedNumberRules rules_ = FixedNumberRules::C();
  PortLines lines_{files_ / "ports.reg", rules_};
  KernelDevices kernel_{system_.root(), std::nullopt, rules_, lines_};
  std::vector<Device*> devices_;
  std::optional<DeviceLibrary> library_;
};

INSTANTIATE_TEST_SUITE_P(OfTheKernel, DeviceContract,
                         testing::Values([] { return std::make_unique<KernelDevicesUnderTest>(); }));

/// Machines over the made-up system.
class KernelDeviceTest : public testing::Test {
 protected:
  std::unique_ptr<Machine> Open(const std::vector<std::string>& devices = {"linux"}) {
    std::string error;
    auto machine = OpenMachine(
        {.devices = devices, .registry_file = files_ / "my.reg", .system_root = system_.root()}, &error);
    EXPECT_EQ(error, "");
    return machine;
  }
  /// Opens what the library lists: "COM number, failure" of each device.
  static std::string List(Machine& machine) {
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
      text +=
          "COM" + std::to_string(com) + " " + machine.OpenFailures()[static_cast<std::size_t>(index)] + "\n";
    }
    return text;
  }
  static std::string Line(Machine& machine, const std::string& com) {
    CommConfig config;
    std::uint32_t size = sizeof config;
    if (!machine.platform().comm_config.GetDefaultCommConfigA(com, &config, &size)) return "none";
    const Dcb& line = config.dcb;
    return std::to_string(line.BaudRate) + " " + std::to_string(line.ByteSize) + std::to_string(line.Parity) +
           std::to_string(line.StopBits);
  }

  MadeUpSystem system_;
  ScratchDirectory files_;
  Pty first_, second_;
};

TEST_F(KernelDeviceTest, ListsWhatIsPluggedInAtEachSnapshotBesideOtherDevices) {
  Pty serial;
  system_.PlugPty("1-2", "A", "ttyUSB70000", first_);
  const auto machine = Open({"tty:" + serial.path(), "sim:com=7", "linux", "tty:/dev/no-such"});
  const std::string before = "COM" + std::to_string(serial.number() + 1) + " \nCOM7 \nCOM-1 \n";
  const std::string missing = "COM0 /dev/no-such: no such file\n";
  EXPECT_EQ(List(*machine), before + missing);
  EXPECT_EQ(FileText(system_.Device("1-2") + "/1-2:1.0/ttyUSB70000/latency_timer"), "5\n");
  system_.PlugPty("1-1", "B", "ttyUSB401", second_);
  EXPECT_EQ(List(*machine), before + missing + "COM402 \n");
  system_.Unplug("1-1", "ttyUSB401");
  EXPECT_EQ(List(*machine), before + missing);
  system_.PlugPty("1-1", "B", "ttyUSB401", second_);
  EXPECT_EQ(List(*machine), before + missing + "COM402 \n") << "the same device has its number again";
}

TEST_F(KernelDeviceTest, SaysWhoHasTakenADevice) {
  const std::string root = system_.root(),
                    free = "COM0 USB device 1-2: the kernel's driver ftdi_sio doesn't serve it\n";
  const Attributes chip = {{"idVendor", "0403"}, {"idProduct", "6001"}, {"busnum", "1"}, {"devnum", "12"}};
  system_.Plug("1-1", chip);
  system_.AddInterface("1-1", 0, "", "usbfs");
  system_.Plug("1-2", chip);
  system_.AddInterface("1-2", 0, "", "");
  EXPECT_EQ(List(*Open()), "COM0 USB device 1-1: claimed by another program\n" + free);
  MadeUpSystem::Write(root + "/proc/12/comm", "brltty");
  EXPECT_EQ(HolderText("/dev/ttyUSB0", root), ", perhaps brltty, which runs");
  MadeUpSystem::Write(root + "/proc/13/comm", "reader");
  MadeUpSystem::Link(root + "/dev/bus/usb/001/012", root + "/proc/13/fd/5");
  EXPECT_EQ(List(*Open()), "COM0 USB device 1-1: claimed by another program, reader (process 13)\n" + free);
}

TEST_F(KernelDeviceTest, KeepsThePortsConfigurationWithTheSerialNumber) {
  system_.PlugPty("1-1", "0123456789ABCDEF", "ttyUSB0", first_);
  system_.PlugPty("1-2", "", "ttyUSB1", second_);
  {
    const auto machine = Open();
    CommConfigApi& api = machine->platform().comm_config;
    CommConfig config;
    config.dcb = {.BaudRate = 250000, .ByteSize = 7, .Parity = 2, .StopBits = 2};
    EXPECT_TRUE(api.SetDefaultCommConfigA("COM1", &config, sizeof config));
    EXPECT_TRUE(api.SetDefaultCommConfigA("COM2", &config, sizeof config));
    EXPECT_EQ(Line(*machine, "COM2"), "250000 722");
    config.dcb.Parity = 9;
    EXPECT_FALSE(api.SetDefaultCommConfigA("COM1", &config, sizeof config));
  }
  EXPECT_NE(FileText(files_ / "my-ports.reg").find("\"0123456789ABCDEF\"=\"250000,E,7,2\""),
            std::string::npos);
  system_.Unplug("1-1", "ttyUSB0");
  system_.PlugPty("1-3", "0123456789ABCDEF", "ttyUSB5", first_);
  EXPECT_EQ(Line(*Open(), "COM6"), "250000 722");
  EXPECT_NE(Line(*Open(), "COM2"), "250000 722") << "without a serial number for that run only";
  EXPECT_EQ(Line(*Open({"linux,baud=57600"}), "COM6"), "57600 800");
  EXPECT_EQ(Line(*Open(), "COM6"), "57600 800");

  if (geteuid() != 0) return;  // only the superuser can be somebody else
  for (const std::string& directory : {system_.root(), files_ / "."})
    fs::permissions(directory, fs::perms(0755));
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(Line(*Open({"linux,baud=4800"}), "COM6"), "4800 800") << "given, though it can't be kept";
  EXPECT_EQ(Line(*Open(), "COM6"), "57600 800");
  ASSERT_EQ(seteuid(0), 0);
}

TEST(PortLines, TakesNoTextThatIsNoLine) {
  const ScratchDirectory files;
  FileRegistry registry(files / "ports.reg", FixedNumberRules::C());
  PortLines lines(files / "ports.reg", FixedNumberRules::C());
  for (const char* const text :
       {"57600,N,8", "57600;N;8;1", "0,N,8,1", "x", "57600,Q,8,1", "57600,N,9,1", "9,N,3,1"}) {
    ASSERT_EQ(SetRaw(registry, "Ports", "X", REG_SZ, text), ERROR_SUCCESS);
    EXPECT_FALSE(lines.Find("X")) << text;
  }
  ASSERT_EQ(SetRaw(registry, "Ports", "X", REG_SZ, "9600,S,7,1.5"), ERROR_SUCCESS);
  ASSERT_TRUE(lines.Find("x"));
  EXPECT_EQ(lines.Find("x")->StopBits, 1);
}

}  // namespace
}  // namespace halden
