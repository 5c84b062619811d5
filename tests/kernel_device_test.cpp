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

/// A tree like those of /sys, /dev and /proc.
class MadeUpSystem {
 public:
  using Attributes = std::map<std::string, std::string>;

  const std::string& root() const { return root_; }
  fs::path Device(const std::string& usb) const { return fs::path(root_) / "sys/devices/usb1" / usb; }

  void Plug(const std::string& usb, const Attributes& attributes) {
    for (const auto& [name, text] : attributes) Write(Device(usb) / name, text);
  }
  /// An interface of a plugged device; without `tty` nothing but `driver`, if any, serves it.
  void AddInterface(const std::string& usb, int number, const std::string& tty,
                    const std::string& driver = "ftdi_sio") {
    const std::string name = usb + ":1." + std::to_string(number);
    const fs::path place = Device(usb) / name;
    Write(place / "bInterfaceNumber", "0" + std::to_string(number));
    Link(place, fs::path(root_) / "sys/bus/usb/devices" / name);
    if (!driver.empty()) Link("/no/such/" + driver, place / "driver");
    if (tty.empty()) return;
    Write(place / tty / "latency_timer", "9");
    Link(place / tty, fs::path(root_) / "sys/bus/usb-serial/devices" / tty);
    if (!driver.empty()) Link("/no/such/" + driver, place / tty / "driver");
  }
  void ServeTty(const std::string& tty, const Pty& pty) { Link(pty.path(), fs::path(root_) / "dev" / tty); }
  void Unplug(const std::string& usb, const std::string& tty) {
    fs::remove_all(Device(usb));
    fs::remove(fs::path(root_) / "sys/bus/usb/devices" / (usb + ":1.0"));
    fs::remove(fs::path(root_) / "sys/bus/usb-serial/devices" / tty);
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

MadeUpSystem::Attributes Chip(const std::string& release, const std::string& serial) {
  MadeUpSystem::Attributes chip{{"idVendor", "0403"},
                                {"idProduct", "6001"},
                                {"bcdDevice", release},
                                {"bNumInterfaces", " 1"},
                                {"product", "FT232 Serial"}};
  if (!serial.empty()) chip["serial"] = serial;
  return chip;
}

TEST(KernelPorts, AreListedByTtyAndInterfaceWithWhatTheirAttributesSay) {
  MadeUpSystem system;
  EXPECT_TRUE(ListKernelPorts(system.root()).empty());
  system.Plug("1-1", Chip("0600", "0123456789ABCDEF"));
  system.AddInterface("1-1", 0, "ttyUSB10");
  system.Plug("1-2", {{"idVendor", "0403"},
                      {"idProduct", "6011"},
                      {"bcdDevice", "0800"},
                      {"bNumInterfaces", " 4"},
                      {"serial", "QUAD"}});
  system.AddInterface("1-2", 1, "ttyUSB2");  // another device had the number in between when it came
  system.AddInterface("1-2", 0, "ttyUSB5");
  system.Plug("1-3", {{"idVendor", "0403"}});
  system.AddInterface("1-3", 0, "ttyUSB3");
  system.Plug("1-4", Chip("0400", "OTHER"));
  system.AddInterface("1-4", 0, "ttyUSB4", "ch341");
  system.Plug("1-5", Chip("1000", "TAKEN"));
  system.AddInterface("1-5", 0, "", "usbfs");
  system.Plug("1-6", {{"idVendor", "0403"}, {"idProduct", "beef"}});
  system.AddInterface("1-6", 0, "", "");

  std::string listed;
  for (const KernelPort& port : ListKernelPorts(system.root())) {
    listed += port.tty + "|" + port.driver + "|" + std::to_string(port.type) + "|" + port.serial + "|" +
              port.description + "\n";
  }
  EXPECT_EQ(listed,
            "ttyUSB5|ftdi_sio|7|QUADA|\n"
            "ttyUSB2|ftdi_sio|7|QUADB|\n"
            "ttyUSB3|ftdi_sio|3||\n"
            "ttyUSB10|ftdi_sio|5|0123456789ABCDEF|FT232 Serial\n"
            "|ch341|0|OTHER|FT232 Serial\n"
            "|usbfs|9|TAKEN|FT232 Serial\n");
}

class KernelDevicesUnderTest : public DevicesUnderTest {
 public:
  KernelDevicesUnderTest() {
    for (std::size_t i = 0; i < 2; ++i) {
      const std::string usb = "1-" + std::to_string(i);
      const std::string tty = "ttyUSB" + std::to_string(i);
      system_.Plug(usb, Chip("0400", usb));
      system_.AddInterface(usb, 0, tty);
      system_.ServeTty(tty, ptys_[i]);
    }
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

/// A machine over the made-up system, and what its library lists: "COM number, failure" of each device.
class KernelDeviceTest : public testing::Test {
 protected:
  std::unique_ptr<Machine> Open(const std::string& device = "linux") {
    std::string error;
    auto machine = OpenMachine(
        {.devices = {device}, .registry_file = files_ / "my.reg", .system_root = system_.root()}, &error);
    EXPECT_EQ(error, "");
    return machine;
  }
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
  void PlugPty(const std::string& usb, const std::string& serial, const std::string& tty, const Pty& pty) {
    system_.Plug(usb, Chip("0400", serial));
    system_.AddInterface(usb, 0, tty);
    system_.ServeTty(tty, pty);
  }

  MadeUpSystem system_;
  ScratchDirectory files_;
  Pty first_;
  Pty second_;
};

TEST_F(KernelDeviceTest, OpensItsTtyAndSetsTheLatencyByTheKernelsFile) {
  PlugPty("1-1", "A", "ttyUSB7", first_);
  EXPECT_EQ(List(*Open()), "COM8 \n");
  EXPECT_EQ(FileText(system_.Device("1-1") / "1-1:1.0/ttyUSB7/latency_timer"), "5\n");
}

TEST_F(KernelDeviceTest, SaysWhoHasTakenADevice) {
  system_.Plug("1-1", Chip("0600", "A"));
  system_.AddInterface("1-1", 0, "", "usbfs");
  system_.Plug("1-2", Chip("0600", "B"));
  system_.AddInterface("1-2", 0, "", "");
  EXPECT_EQ(List(*Open()),
            "COM0 USB device 1-1: claimed by another program\n"
            "COM0 USB device 1-2: the kernel's driver ftdi_sio doesn't serve it\n");
  const fs::path root = system_.root();
  MadeUpSystem::Write(root / "proc/12/comm", "brltty");
  EXPECT_EQ(HolderText("/dev/ttyUSB0", root), ", perhaps brltty, which runs");
  MadeUpSystem::Write(root / "proc/13/comm", "reader");
  system_.Plug("1-1", {{"busnum", "1"}, {"devnum", "12"}});
  MadeUpSystem::Link(root / "dev/bus/usb/001/012", root / "proc/13/fd/5");
  EXPECT_EQ(List(*Open()),
            "COM0 USB device 1-1: claimed by another program, reader (process 13)\n"
            "COM0 USB device 1-2: the kernel's driver ftdi_sio doesn't serve it\n");
}

TEST_F(KernelDeviceTest, KeepsThePortsConfigurationWithTheSerialNumber) {
  PlugPty("1-1", "0123456789ABCDEF", "ttyUSB0", first_);
  PlugPty("1-2", "", "ttyUSB1", second_);
  {
    const auto machine = Open();
    CommConfigApi& api = machine->platform().comm_config;
    EXPECT_EQ(Line(*machine, "COM1"), Line(*machine, "COM2")) << "that of the terminals themselves";
    CommConfig config;
    config.dcb.BaudRate = 250000;
    config.dcb.ByteSize = 7;
    config.dcb.Parity = 2;
    config.dcb.StopBits = 2;
    EXPECT_TRUE(api.SetDefaultCommConfigA("COM1", &config, sizeof config));
    EXPECT_TRUE(api.SetDefaultCommConfigA("COM2", &config, sizeof config));
    EXPECT_EQ(Line(*machine, "COM2"), "250000 722");
    config.dcb.Parity = 9;
    EXPECT_FALSE(api.SetDefaultCommConfigA("COM1", &config, sizeof config));
  }
  EXPECT_NE(FileText(files_ / "my-ports.reg").find("\"0123456789ABCDEF\"=\"250000,E,7,2\""),
            std::string::npos);
  system_.Unplug("1-1", "ttyUSB0");
  PlugPty("1-3", "0123456789ABCDEF", "ttyUSB5", first_);
  EXPECT_EQ(Line(*Open(), "COM6"), "250000 722");
  EXPECT_NE(Line(*Open(), "COM2"), "250000 722") << "without a serial number for that run only";

  EXPECT_EQ(Line(*Open("linux,baud=57600"), "COM6"), "57600 800");
  EXPECT_EQ(Line(*Open(), "COM6"), "57600 800");

  if (geteuid() != 0) return;  // only the superuser can be somebody else
  for (const std::string& directory : {system_.root(), files_ / "."})
    fs::permissions(directory, fs::perms(0755));
  ASSERT_EQ(seteuid(65534), 0);
  const auto machine = Open("linux,baud=4800");
  EXPECT_EQ(Line(*machine, "COM6"), "4800 800") << "given, though it can't be kept";
  EXPECT_EQ(Line(*Open(), "COM6"), "57600 800");
  ASSERT_EQ(seteuid(0), 0);
}

TEST(PortLines, TakesNoTextThatIsNoLine) {
  ScratchDirectory files;
  FileRegistry registry(files / "ports.reg", FixedNumberRules::C());
  PortLines lines(files / "ports.reg", FixedNumberRules::C());
  for (const char* const text : {"57600,N,8", "57600;N;8;1", "0,N,8,1", "x", "57600,Q,8,1", "57600,N,9,1"}) {
    ASSERT_EQ(SetRaw(registry, "Ports", "X", REG_SZ, text), ERROR_SUCCESS);
    EXPECT_FALSE(lines.Find("X")) << text;
  }
  ASSERT_EQ(SetRaw(registry, "Ports", "X", REG_SZ, "9600,S,7,1.5"), ERROR_SUCCESS);
  ASSERT_TRUE(lines.Find("x"));
  EXPECT_EQ(lines.Find("x")->StopBits, 1);
}

TEST_F(KernelDeviceTest, ListsWhatIsPluggedInAtEachSnapshot) {
  PlugPty("1-2", "A", "ttyUSB0", first_);
  const auto machine = Open();
  EXPECT_EQ(List(*machine), "COM1 \n");
  PlugPty("1-1", "B", "ttyUSB1", second_);
  EXPECT_EQ(List(*machine), "COM1 \nCOM2 \n");
  system_.Unplug("1-2", "ttyUSB0");
  EXPECT_EQ(List(*machine), "COM2 \n");
  system_.Plug("1-2", Chip("0400", "A"));
  system_.AddInterface("1-2", 0, "ttyUSB0");
  EXPECT_EQ(List(*machine), "COM1 \nCOM2 \n") << "the same device has its number again";
}

}  // namespace
}  // namespace halden
