#include "backends/linux/serial/kernel_device.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

#include "backends/system_platform.h"
#include "backends/text/fixed_number_rules.h"
#include "driver/inspect.h"
#include "tests/device_contract.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

namespace fs = std::filesystem;

/// Folders like /sys, /dev and /proc, and platforms that are opened on them.
class FakeSystem {
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
  /// Adds an interface of a device, and the device if it is the first one. `attributes` are words like
  /// "serial=A". `tty` is empty for an interface without one, `driver` for one that no driver serves.
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
  /// Adds a chip with one port, which is the pseudo-terminal. It gets another number on its bus each time.
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
  /// For each listed device "port|chip|serial|description|" and the port's line settings, or why it can't be
  /// opened.
  std::vector<std::string> List(SystemPlatform& platform) const {
    std::vector<std::string> list;
    for (const ListedDevice& device : ListDevices(platform.platform())) {
      std::string failure = platform.OpenFailures()[list.size()];
      if (failure.starts_with(root_)) failure.erase(0, root_.size());
      list.push_back(device.com_name + "|" + device.chip + "|" + device.serial + "|" + device.description +
                     "|" + device.line + failure);
    }
    return list;
  }

 private:
  ScratchDirectory directory_;
  std::string root_ = fs::canonical(directory_ / ".").string();
  int plugged_ = 0;
};

/// The device library over what a system lists.
struct ListedDevices {
  explicit ListedDevices(const std::string& root) : devices(root, {}, rules, stored_settings) {}

  ScratchDirectory files;
  FixedNumberRules rules = FixedNumberRules::C();
  StoredLineSettings stored_settings{files / "ports.reg", rules};
  KernelDevices devices;
  EmulatedD2xx library{{}, [this] { return devices.FindNew(); }};
};

DevicesUnderTest InAFakeSystem() {
  struct Tree {
    FakeSystem system;
    Pty ptys[2];
    ListedDevices listed{system / ""};
  };
  const auto tree = std::make_shared<Tree>();
  tree->system.Plug("1-1", "A", "ttyUSB0", tree->ptys[0]);
  tree->system.Plug("1-2", "B", "ttyUSB1", tree->ptys[1]);
  return {std::shared_ptr<EmulatedD2xx>(tree, &tree->listed.library),
          [tree](std::size_t index, FT_HANDLE, const std::string& bytes) { tree->ptys[index].Write(bytes); }};
}

/// Two real chips, which echo what they receive.
DevicesUnderTest OnARealKernel() {
  const auto listed = std::make_shared<ListedDevices>("/");
  return {std::shared_ptr<EmulatedD2xx>(listed, &listed->library),
          [listed](std::size_t, FT_HANDLE handle, const std::string& bytes) {
            std::uint32_t written = 0;
            listed->library.FT_Write(handle, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                     &written);
          }};
}

// Only the virtual machine of the tests has chips that may be written to.
const bool on_a_real_kernel = std::getenv("HALDEN_CHIPS_SEND_BACK") != nullptr;
INSTANTIATE_TEST_SUITE_P(OfTheKernel, DeviceContract,
                         testing::Values(on_a_real_kernel ? DeviceBackend{"RealKernel", OnARealKernel}
                                                          : DeviceBackend{"FakeSystem", InAFakeSystem}));

TEST(OfTheKernel, CountsOverrunsOfOpenPortsWhereTheirDriverDoes) {
  const DevicesUnderTest devices = on_a_real_kernel ? OnARealKernel() : InAFakeSystem();
  std::int32_t count = 0;
  FT_HANDLE handle = -1;
  devices.library->FT_CreateDeviceInfoList(&count);
  EXPECT_EQ(devices.library->Overruns(), std::nullopt);
  ASSERT_EQ(devices.library->FT_Open(1, &handle), FT_OK);
  EXPECT_EQ(devices.library->Overruns().has_value(), on_a_real_kernel);
  EXPECT_EQ(devices.library->Overruns().value_or(0), 0u);
}

TEST(KernelDevice, ListingIsSortedByTtyAndNamesWhoClaimedAChip) {
  const FakeSystem system;
  for (const char* const type :
       {"class/tty/ttyS0/type", "class/tty/ttyS0/device/x", "class/tty/ttyACM10/device/x",
        "class/tty/ttyS4/device/x", "class/tty/console/x"})
    system.Write(std::string("sys/") + type, "0");
  system.Write("sys/class/tty/ttyS4/type", "4");
  const auto without = system.Open();
  EXPECT_EQ(system.List(*without), std::vector<std::string>());
  EXPECT_EQ(
      without->TakeNotices(),
      std::vector<std::string>{"--device linux: no FTDI device is plugged in; other serial ports are named "
                               "by tty:/dev/ttyS4 tty:/dev/ttyACM10"});
  EXPECT_EQ(without->TakeNotices(), std::vector<std::string>()) << "it has been said";
  const std::string chip = "idVendor=0403 idProduct=6001 product=Text busnum=1 devnum=12 ";
  system.Plug("1-1", chip + "bcdDevice=0600 serial=0123456789ABCDEF", "ttyUSB10");
  // ttyUSB3 was plugged in between this chip's two ports, and its second port came first.
  system.Plug("1-2", chip + "bcdDevice=0800 serial=QUAD", "ttyUSB2", "ftdi_sio", "1");
  system.Plug("1-2", "", "ttyUSB5");
  system.Write("usb/1-2/bNumInterfaces", " 4");
  system.Plug("1-3", "idVendor=0403", "ttyUSB3");
  system.Plug("1-4", chip + "bcdDevice=0400 bNumInterfaces=1 serial=OTHER", "ttyUSB4", "ch341");
  system.Plug("1-5", chip + "bcdDevice=1000 serial=TAKEN idProduct=6015", "", "usbfs");
  system.Plug("1-6", chip + "idProduct=beef", "", "");
  system.Write("proc/12/comm", "brltty");
  const std::vector<std::string> expected = {
      "|FT4232H|QUADA|Text|/dev/ttyUSB5: no such file",
      "|FT4232H|QUADB|Text|/dev/ttyUSB2: no such file",
      "|Unknown|||/dev/ttyUSB3: no such file",
      "|FT232R|0123456789ABCDEF|Text|/dev/ttyUSB10: no such file",
      "|FT232BM|OTHER|Text|USB device 1-4: claimed by the kernel's driver ch341",
      "|FT_X_SERIES|TAKEN|Text|USB device 1-5: claimed by another program, perhaps brltty, which runs"};
  EXPECT_EQ(system.List(*system.Open()), expected);
}

/// Two chips: one without a serial number and one with it.
struct TwoChips : testing::Test {
  TwoChips() { system.Plug("1-1", "", "ttyUSB1", ptys[0]); }
  std::string Unnamed(const std::string& settings) const { return "COM2|FT232BM|||" + settings; }
  std::string Named(const std::string& settings, const std::string& com = "COM32767") const {
    return com + "|FT232BM|" + kSerial + "||" + settings;
  }
  void PlugNamed() { system.Plug("1-2", kSerial, "ttyUSB32766", ptys[1]); }
  void Configure(SystemPlatform& platform, const char* com) const {
    CommConfig config;
    config.dcb = {.BaudRate = 250000, .ByteSize = 7, .Parity = 2, .StopBits = 2};
    EXPECT_TRUE(platform.platform().comm_config.SetDefaultCommConfigA(com, &config, sizeof config)) << com;
  }

  using Lines = std::vector<std::string>;
  const std::string kSerial = "0123456789ABCDEF", kUsual = "38400,N,8,1", kSet = "250000,E,7,2";
  Pty ptys[2];
  FakeSystem system;
};

TEST_F(TwoChips, KeepNumberAndConfigurationWhileUnplugged) {
  const auto platform = system.Open();
  EXPECT_EQ(system.List(*platform), Lines{Unnamed(kUsual)});
  PlugNamed();
  std::int32_t count = 0;
  EXPECT_EQ(platform->platform().d2xx.FT_ListDevices(&count, nullptr, FT_LIST_NUMBER_ONLY), FT_OK);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(system.List(*platform), (Lines{Unnamed(kUsual), Named(kUsual)}));
  Configure(*platform, "COM2");
  Configure(*platform, "COM32767");
  system.Unplug("1-2");
  EXPECT_EQ(system.List(*platform), Lines{Unnamed(kSet)});
  PlugNamed();
  EXPECT_EQ(system.List(*platform), (Lines{Unnamed(kSet), Named(kSet)}));
}

TEST_F(TwoChips, AnotherChipInTheOldPlaceIsNotOpened) {
  const auto platform = system.Open();
  EXPECT_EQ(system.List(*platform), Lines{Unnamed(kUsual)});
  system.Unplug("1-1");
  system.Plug("1-1", "OTHER", "ttyUSB1", ptys[0]);
  FT_HANDLE handle = -1;
  EXPECT_NE(platform->platform().d2xx.FT_Open(0, &handle), FT_OK);
}

TEST_F(TwoChips, OnlyASerialNumberKeepsTheConfigurationForTheNextRun) {
  PlugNamed();
  const auto platform = system.Open();
  ASSERT_EQ(system.List(*platform).size(), 2u);
  Configure(*platform, "COM2");
  Configure(*platform, "COM32767");
  system.Unplug("1-2");
  system.Plug("1-3", kSerial, "ttyUSB5", ptys[1]);
  EXPECT_EQ(system.List(*system.Open()), (Lines{Unnamed(kUsual), Named(kSet, "COM6")}));
  const std::string file = FileText(system / "my-ports.reg");
  for (const std::string text : {"\"57600,N,8\"", "\"57600,N;8,1\"", "\"0,N,8,1\"", "\"57600,Q,8,1\"",
                                 "\"57600,N,9,1\"", "hex:39,2c,4e,2c,38,2c,31"}) {
    SetFileText(system / "my-ports.reg",
                std::string(file).replace(file.find(kSet) - 1, kSet.size() + 2, text));
    EXPECT_EQ(system.List(*system.Open()).back(), Named(kUsual, "COM6")) << text;
  }
}

}  // namespace
}  // namespace halden
